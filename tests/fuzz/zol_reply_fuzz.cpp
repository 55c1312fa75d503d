// A server that answers the requests of "ZOL-V1" as it likes and then hangs up.

#include "display/zol_ext.h"
#include "fuzz/fuzz.h"
#include "fuzz/x_server.h"

#include <X11/Xproto.h>

using zol::fuzz::XServer;

namespace {

constexpr std::size_t kReplySize = 32;

int ignoreError(Display*, XErrorEvent*) {
  return 0;
}

int ignoreBrokenConnection(Display*) {
  return 0;
}

std::uint32_t wordAt(const std::string& answer, std::size_t offset) {
  std::uint32_t word = 0;
  std::memcpy(&word, answer.data() + offset, sizeof word);
  return word;
}

// What the first message of the answer has by its own account.
std::uint64_t promised(const std::string& answer) {
  const bool hasMore = answer.size() >= kReplySize && answer[0] == X_Reply;
  return kReplySize + (hasMore ? std::uint64_t{wordAt(answer, 4)} * 4 : 0);
}

bool isWholeReply(const std::string& answer) {
  return answer.size() == promised(answer) && answer[0] == X_Reply;
}

void askForWindow(Display* display, XExtCodes* codes, const std::string& answer) {
  Bool visible = 4711;
  VisualID visual = 4711;
  int rect[4] = {4711, 4711, 4711, 4711};
  const int status = XZolExtGetWindowInfo(display, codes, 0x400001, &visible, &visual, rect);
  if (!isWholeReply(answer) || answer[1] == 0) {
    FUZZ_CHECK(status == 0 && visible == 4711 && visual == 4711 && rect[0] == 4711);
    return;
  }
  FUZZ_CHECK(status == static_cast<std::uint8_t>(answer[1]));
  for (int i = 0; i < 4; ++i)
    FUZZ_CHECK(rect[i] == static_cast<int>(wordAt(answer, 8 + 4 * static_cast<std::size_t>(i))));
  FUZZ_CHECK(visual == wordAt(answer, 24));
  FUZZ_CHECK(visible == (answer[28] != 0 ? True : False));
}

void askForDisplayName(Display* display, XExtCodes* codes, const std::string& answer) {
  char* name = nullptr;
  const int status = XZolExtGetGLDisplay(display, codes, &name);
  const bool whole = isWholeReply(answer);
  const std::uint64_t length = whole ? wordAt(answer, 8) : 0;
  if (!whole || (length + 3) / 4 > wordAt(answer, 4)) {
    FUZZ_CHECK(status == 0 && name == nullptr);
    return;
  }
  FUZZ_CHECK(status == static_cast<std::uint8_t>(answer[1]));
  FUZZ_CHECK((name != nullptr) == (length > 0));
  if (name != nullptr) FUZZ_CHECK(std::string(name, length) == answer.substr(kReplySize, length));
  std::free(name);
}

} // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  static XServer server(false);
  XSetErrorHandler(ignoreError);
  XSetIOErrorHandler(ignoreBrokenConnection);

  zol::fuzz::Input input(data, size);
  const std::uint8_t choice = input.byte();
  std::string answer = input.rest();
  // Anything but one reply or one error is Xlib's own affair.
  if (!answer.empty()) answer[0] = (choice & 2) != 0 ? X_Error : X_Reply;
  if (answer.size() > promised(answer)) answer.resize(promised(answer));

  // A server that owes something and says no more would be waited for.
  Display* const display = server.connect(answer, answer.size() < promised(answer));
  XExtCodes codes{};
  codes.major_opcode = XServer::kExtensionOpcode;
  if ((choice & 1) != 0)
    askForWindow(display, &codes, answer);
  else
    askForDisplayName(display, &codes, answer);
  XCloseDisplay(display);
  return 0;
}
