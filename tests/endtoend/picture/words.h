#pragma once

#include "endtoend/picture/stage.h"

#include <map>
#include <sstream>
#include <stdexcept>
#include <string>

// What the files that perform commands share.
namespace zol::endtoend {

using Command = std::string (*)(Stage&, std::istringstream&);
using Commands = std::map<std::string, Command>;

const Commands& configCommands();    // FBConfigs and what is made with them, strings
const Commands& drawableCommands();  // pixmaps, pbuffers, textures, pixels read back
const Commands& faultCommands();     // taking away what others need
const Commands& fontCommands();      // text
const Commands& oldGlCommands();     // drawing without a swap, modes, queries
const Commands& procedureCommands(); // functions by their names
const Commands& processCommands();   // children, handlers, locale, what is refused

template <class Value>
Value next(std::istringstream& words) {
  Value value{};
  if (!(words >> value)) throw std::runtime_error("a word is missing");
  return value;
}

inline std::string nextOr(std::istringstream& words, const char* otherwise) {
  std::string value;
  return words >> value ? value : otherwise;
}

inline std::string hex(unsigned long value) {
  std::ostringstream text;
  text << "0x" << std::hex << value;
  return text.str();
}

inline std::string ok(const std::string& what = "") {
  return what.empty() ? "ok" : "ok " + what;
}

} // namespace zol::endtoend
