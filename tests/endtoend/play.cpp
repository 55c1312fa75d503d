#include "endtoend/play.h"

#include <sstream>
#include <stdexcept>

namespace zol::endtoend {
namespace {

std::string frameName(const std::string& picture, int frame) {
  return picture + " " + std::to_string(frame);
}

// What is compared with must itself be right.
bool isScene(const std::string& picture) {
  return picture == "quadrants" || picture == "bar";
}

class StraightPlay : public Play {
public:
  StraightPlay(PictureProgram* program, const Observer& observer, Record* record)
      : Play(program), observer_(observer), record_(record) {}

  void look(Window window, const std::string& picture, int frame) override {
    const std::string label = nextLabel(frameName(picture, frame));
    const Picture seen = observer_.picture(window);
    XWindowAttributes attributes{};
    XGetWindowAttributes(observer_.display(), window, &attributes);
    keep(label, picture, frame, seen, attributes.depth);
  }

  std::string same(const std::string& step) override {
    return record_->answers[nextLabel(step)] = program().ask(step);
  }

  void read(const std::string& step, const std::string& picture, int frame, int depth) override {
    const std::string label = nextLabel(frameName(picture, frame));
    keep(label, picture, frame, parsePicture(program().ask(step)), depth);
  }

private:
  void keep(const std::string& label, const std::string& picture, int frame, const Picture& seen,
            int depth) {
    if (isScene(picture)) {
      EXPECT_TRUE(samePicture(paintedScene(picture, frame, seen.width, seen.height, depth), seen))
          << "straight, " << label;
    }
    record_->pictures[label] = seen;
  }

  const Observer& observer_;
  Record* const record_;
};

class LibraryPlay : public Play {
public:
  LibraryPlay(PictureProgram* program, const Observer& observer, const Record& expected)
      : Play(program), observer_(observer), expected_(expected) {}

  void look(Window window, const std::string& picture, int frame) override {
    const std::string label = nextLabel(frameName(picture, frame));
    ASSERT_TRUE(observer_.shows(window, find(expected_.pictures, label))) << label;
  }

  std::string same(const std::string& step) override {
    const std::string label = nextLabel(step);
    const std::string answer = program().ask(step);
    EXPECT_EQ(answer, find(expected_.answers, label)) << label;
    return answer;
  }

  void read(const std::string& step, const std::string& picture, int frame, int) override {
    const std::string label = nextLabel(frameName(picture, frame));
    const Picture found = parsePicture(program().ask(step));
    EXPECT_TRUE(samePicture(find(expected_.pictures, label), found)) << label << ": " << step;
  }

private:
  template <class Value>
  static const Value& find(const std::map<std::string, Value>& values, const std::string& label) {
    const auto found = values.find(label);
    if (found == values.end()) throw std::runtime_error("not seen straight: " + label);
    return found->second;
  }

  const Observer& observer_;
  const Record& expected_;
};

// What the log says but for functions that the driver does not have.
rig::Lines complaints(const rig::LogFile& log) {
  rig::Lines lines;
  for (const rig::LogRecord& record : log.all()) {
    if ((record.level == 'E' || record.level == 'W') && !record.message.ends_with(" is NULL"))
      lines.push_back(record.text());
  }
  return lines;
}

} // namespace

Picture parsePicture(const std::string& text) {
  Picture result;
  std::istringstream words(text);
  std::string digits;
  words >> result.width >> result.height >> digits;
  for (std::size_t i = 0; i + 8 <= digits.size(); i += 8)
    result.pixels.push_back(
        static_cast<std::uint32_t>(std::stoul(digits.substr(i, 8), nullptr, 16)));
  return result;
}

void Play::tell(std::initializer_list<std::string> steps) {
  for (const std::string& step : steps)
    program().ask(step);
}

void Play::show(std::initializer_list<std::string> steps, Window window, const std::string& picture,
                int frame) {
  tell(steps);
  look(window, picture, frame);
}

std::string Play::nextLabel(const std::string& what) {
  return std::to_string(++labels_) + ", " + what;
}

const Record& playedStraight(const std::string& name, const Script& script,
                             const std::string& display) {
  static std::map<std::string, Record> played;
  const auto known = played.find(name);
  if (known != played.end()) return known->second;

  const Folder folder;
  PictureProgram program(folder, display);
  const Observer observer(display);
  Record record;
  StraightPlay play(&program, observer, &record);
  script(play);
  EXPECT_TRUE(program.hasLoaded("libGLX_zolsoft.so.0"));
  EXPECT_FALSE(program.hasLoaded("libGLX_zol.so.0"));
  EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  EXPECT_EQ(program.end(), 0) << program.errors();
  return played[name] = std::move(record);
}

rig::Lines playThroughLibrary(const std::string& name, const Script& script,
                              const std::string& display, const Environment& environment,
                              const std::string& straightDisplay) {
  const Record& expected = playedStraight(name, script, straightDisplay);
  const Folder folder;
  PictureProgram program(folder, display, environment);
  const Observer observer(display);
  LibraryPlay play(&program, observer, expected);
  script(play);
  EXPECT_TRUE(program.hasLoaded("libGLX_zol.so.0"));
  EXPECT_TRUE(program.hasLoaded("libGLX_zolsoft.so.0"));
  EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  EXPECT_EQ(program.end(), 0) << program.errors();
  const rig::Lines lines = complaints(program.log());
  for (const std::string& line : lines)
    EXPECT_NE(line.front(), 'E') << line;
  return lines;
}

} // namespace zol::endtoend
