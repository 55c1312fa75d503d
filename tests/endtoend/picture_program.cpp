#include "endtoend/picture_program.h"

#include <cstdlib>
#include <stdexcept>

namespace zol::endtoend {
namespace {

Environment withLog(const Folder& folder, Environment environment) {
  environment.emplace("ZOL_GL_LOG_DIR", folder.path());
  environment.emplace("ZOL_GL_LOG_LEVEL", "debug");
  return environment;
}

Environment withDisplay(const std::string& display, Environment environment) {
  environment["DISPLAY"] = display;
  return environment;
}

} // namespace

std::string pictureFile() {
  const char* const other = std::getenv("ZOLTEST_PICTURE");
  return other != nullptr ? other : ZOL_PICTURE;
}

PictureProgram::PictureProgram(const Folder& folder, const std::string& display,
                               const Environment& environment)
    : PictureProgram(folder, Command{{pictureFile()}}, withDisplay(display, environment)) {}

PictureProgram::PictureProgram(const Folder& folder, Command command,
                               const Environment& environment)
    : Program(folder, std::move(command.words), withLog(folder, environment)),
      log_(folder.path(), pid()) {}

std::string PictureProgram::ask(const std::string& step, int thread) {
  tell(step, thread);
  try {
    return answer(thread);
  } catch (const std::runtime_error& failure) {
    throw std::runtime_error("\"" + step + "\": " + failure.what());
  }
}

void PictureProgram::tell(const std::string& step, int thread) {
  write(std::to_string(thread) + " " + step + "\n");
}

std::string PictureProgram::answer(int thread) {
  const std::string text = rawAnswer(thread);
  if (text.starts_with("ok ")) return text.substr(3);
  if (text == "ok") return "";
  throw std::runtime_error(text);
}

std::string PictureProgram::askInVain(const std::string& step) {
  tell(step);
  const std::string text = rawAnswer(0);
  if (text.starts_with("failed ")) return text.substr(7);
  throw std::runtime_error("\"" + step + "\" did not fail");
}

std::string PictureProgram::rawAnswer(int thread) {
  while (answers_[thread].empty()) {
    const std::string line = readLine();
    const std::size_t space = line.find(' ');
    answers_[std::stoi(line)].push_back(line.substr(space + 1));
  }
  std::string text = answers_[thread].front();
  answers_[thread].pop_front();
  return text;
}

Window PictureProgram::window(const std::string& name, const std::string& sizeDepthKindPlace,
                              int thread) {
  return std::stoul(ask("window " + name + " " + sizeDepthKindPlace, thread), nullptr, 16);
}

Window PictureProgram::stage(const std::string& name, const std::string& sizeDepthKindPlace,
                             int thread) {
  const Window id = window(name, sizeDepthKindPlace, thread);
  ask("context " + name + " " + name, thread);
  ask("current " + name + " " + name, thread);
  return id;
}

int PictureProgram::end() {
  closeInput();
  return wait();
}

} // namespace zol::endtoend
