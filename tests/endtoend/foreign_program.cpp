#include "endtoend/foreign_program.h"

#include "endtoend/likeness.h"
#include "rig/log_file.h"

#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace zol::endtoend {
namespace {

namespace fs = std::filesystem;

const std::string kMark = "ENDTOEND_MARK";

bool hasMapped(const fs::path& process, const std::string& fileName) {
  std::ifstream stream(process / "maps");
  for (std::string line; std::getline(stream, line);) {
    if (line.ends_with("/" + fileName)) return true;
  }
  return false;
}

// The topmost window on the screen that is more than a hint or an icon; None when there is none. It
// is brought to the corner of the screen: what lies off the screen has no pixels.
Window mainWindow(const Observer& observer) {
  constexpr int kLeast = 64;
  Window topmost = None;
  for (const Window window : observer.windows()) {
    XWindowAttributes attributes;
    if (XGetWindowAttributes(observer.display(), window, &attributes) &&
        attributes.map_state == IsViewable && attributes.c_class == InputOutput &&
        attributes.width >= kLeast && attributes.height >= kLeast) {
      topmost = window;
    }
  }
  if (topmost != None) XMoveWindow(observer.display(), topmost, 0, 0);
  return topmost;
}

} // namespace

ForeignProgram::ForeignProgram(std::unique_ptr<Folder> folder, std::unique_ptr<Program> program,
                               const std::string& display)
    : folder_(std::move(folder)), program_(std::move(program)) {
  observer_.emplace(display);
}

ForeignProgram ForeignProgram::straight(const std::vector<std::string>& command,
                                        const std::string& localDisplay) {
  auto folder = std::make_unique<Folder>();
  const Observer before(localDisplay);
  const auto isFree = [&] { return mainWindow(before) == None; };
  if (!before.waitFor(DefaultRootWindow(before.display()), isFree))
    throw std::runtime_error("another program has a window on " + localDisplay);
  auto program =
      std::make_unique<Program>(*folder, foreignCommand(command),
                                Environment{{"DISPLAY", localDisplay}, {kMark, folder->path()}});
  return {std::move(folder), std::move(program), localDisplay};
}

ForeignProgram ForeignProgram::throughLibrary(const std::vector<std::string>& command) {
  auto folder = std::make_unique<Folder>();
  std::vector<std::string> words = {
      ZOL_PROGRAM_FOLDER "/zolrun",    "--headless", "--geometry", kScreen, "--", "sh", "-c",
      R"(echo "$DISPLAY"; exec "$@")", "sh"};
  const std::vector<std::string> rest = foreignCommand(command);
  words.insert(words.end(), rest.begin(), rest.end());
  auto program = std::make_unique<Program>(
      *folder, words, Environment{{"ZOL_GL_LOG_DIR", folder->path()}, {kMark, folder->path()}});
  const std::string display = program->readLine();
  return {std::move(folder), std::move(program), display};
}

Picture ForeignProgram::picture() const {
  const Window window = mainWindow(*observer_);
  return window == None ? Picture{} : observer_->picture(window);
}

bool ForeignProgram::waitForPicture() const {
  bool isShown = false;
  waitFor([&] {
    isShown = !isBlank(picture());
    return isShown || hasEnded();
  });
  return isShown;
}

bool ForeignProgram::hasEnded() const {
  // The third field, after a name that may hold anything: a process not yet waited for.
  const std::string status = readFile("/proc/" + std::to_string(program_->pid()) + "/stat");
  const std::size_t name = status.rfind(')');
  return name == std::string::npos || status.compare(name, 3, ") Z") == 0;
}

void ForeignProgram::waitForNextPaint() const {
  int asked = 0;
  waitFor([&] { return ++asked == 2; });
}

bool ForeignProgram::waitFor(const std::function<bool()>& condition) const {
  return observer_->waitFor(root(), condition);
}

bool ForeignProgram::hasLoaded(const std::string& fileName) const {
  const std::string mark = kMark + "=" + folder_->path().string();
  for (const auto& process : fs::directory_iterator("/proc")) {
    if (readFile(process.path() / "environ").find(mark) == std::string::npos) continue;
    if (hasMapped(process.path(), fileName)) return true;
  }
  return false;
}

std::vector<std::string> ForeignProgram::libraryErrors() const {
  std::vector<std::string> lines;
  for (const auto& file : fs::directory_iterator(folder_->path())) {
    if (file.path().extension() != ".log") continue;
    for (const rig::LogRecord& record : rig::parseLog(readFile(file.path()))) {
      if (record.level != 'E' || record.message.ends_with(" is NULL") ||
          record.message.starts_with("No visual found on local display with id ")) {
        continue;
      }
      lines.push_back(record.text());
    }
  }
  return lines;
}

int ForeignProgram::end() {
  observer_.reset();
  program_->signal(SIGTERM);
  return program_->wait();
}

} // namespace zol::endtoend
