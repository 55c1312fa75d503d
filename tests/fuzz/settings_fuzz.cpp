// Texts that stand for the values of settings.

#include "foundation/settings.h"
#include "fuzz/fuzz.h"

#include <climits>
#include <cmath>

using zol::Settings;
using zol::fuzz::ExactText;

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string line = zol::fuzz::Input(data, size).line();
  const ExactText text(line);

  bool noBool = false;
  bool noInt = false;
  bool noDouble = false;
  const bool boolean = Settings::toBool(text, &noBool);
  const int number = Settings::toInt(text, &noInt);
  const double real = Settings::toDouble(text, &noDouble);
  char* const copy = Settings::toString(text);

  // What is a whole number is a number; what is a whole number and a truth value is the same one.
  if (!noInt) FUZZ_CHECK(!noDouble);
  if (!noInt && real >= INT_MIN && real <= INT_MAX) FUZZ_CHECK(number == real);
  if (!noInt && !noBool) FUZZ_CHECK(number == (boolean ? 1 : 0));
  if (!noInt && (real == 0 || real == 1)) FUZZ_CHECK(!noBool);
  if (line.empty() || line == "<null>") {
    FUZZ_CHECK(noBool && noInt && noDouble && copy == nullptr);
  } else {
    FUZZ_CHECK(copy != nullptr && line == copy);
  }
  std::free(copy);

  // The same through the environment, where what does not fit is as good as unset.
  if (line.find('\0') != std::string::npos) return 0;
  setenv("ZOL_GL_FUZZED", line.c_str(), 1);
  static const Settings settings("zol-fuzz-no-such.conf");
  const int found = settings.intSetting("ZOL_GL_FUZZED", "SECTION", "key", 4711);
  if (line.size() >= Settings::NUMBER_VARIABLE_SIZE) FUZZ_CHECK(found == 4711);
  if (!noInt && line.size() < Settings::NUMBER_VARIABLE_SIZE) FUZZ_CHECK(found == number);
  settings.boolSetting("ZOL_GL_FUZZED", "SECTION", "key", false);
  settings.doubleSetting("ZOL_GL_FUZZED", "SECTION", "key", 0);
  std::free(settings.stringSetting("ZOL_GL_FUZZED", "SECTION", "key", nullptr));
  return 0;
}
