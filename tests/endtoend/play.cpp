#include "endtoend/play.h"

#include "endtoend/displays.h"

#include <stdexcept>

namespace zol::endtoend {
namespace {

class StraightPlay : public Play {
public:
  StraightPlay(PictureProgram* program, const Observer& observer, Pictures* pictures)
      : Play(program), observer_(observer), pictures_(pictures) {}

  void look(Window window, const std::string& picture, int frame) override {
    const std::string label = nextLabel(picture, frame);
    const Picture seen = observer_.picture(window);
    // What is compared with must itself be right.
    if (picture == "quadrants" || picture == "bar") {
      XWindowAttributes attributes{};
      XGetWindowAttributes(observer_.display(), window, &attributes);
      EXPECT_TRUE(samePicture(
          paintedScene(picture, frame, attributes.width, attributes.height, attributes.depth),
          seen))
          << "straight, " << label;
    }
    (*pictures_)[label] = seen;
  }

private:
  const Observer& observer_;
  Pictures* const pictures_;
};

class LibraryPlay : public Play {
public:
  LibraryPlay(PictureProgram* program, const Observer& observer, const Pictures& expected)
      : Play(program), observer_(observer), expected_(expected) {}

  void look(Window window, const std::string& picture, int frame) override {
    const std::string label = nextLabel(picture, frame);
    const auto found = expected_.find(label);
    if (found == expected_.end()) throw std::runtime_error("not seen straight: " + label);
    ASSERT_TRUE(observer_.shows(window, found->second)) << label;
  }

private:
  const Observer& observer_;
  const Pictures& expected_;
};

// Errors in the log that do not come from functions that the driver does not have.
rig::Lines realErrors(const rig::LogFile& log) {
  rig::Lines lines;
  for (const rig::LogRecord& record : log.all()) {
    if (record.level == 'E' && !record.message.ends_with(" is NULL")) {
      lines.push_back(record.text());
    }
  }
  return lines;
}

} // namespace

std::string Play::nextLabel(const std::string& picture, int frame) {
  return "look " + std::to_string(++looks_) + ": " + picture + " " + std::to_string(frame);
}

const Pictures& playedStraight(const std::string& name, const Script& script) {
  static std::map<std::string, Pictures> played;
  const auto known = played.find(name);
  if (known != played.end()) return known->second;

  const Folder folder;
  PictureProgram program(folder, localDisplay());
  const Observer observer(localDisplay());
  Pictures pictures;
  StraightPlay play(&program, observer, &pictures);
  script(play);
  EXPECT_TRUE(program.hasLoaded("libGLX_zolsoft.so.0"));
  EXPECT_FALSE(program.hasLoaded("libGLX_zol.so.0"));
  EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  EXPECT_EQ(program.end(), 0) << program.errors();
  return played[name] = std::move(pictures);
}

void playThroughLibrary(const std::string& name, const Script& script, const std::string& display,
                        const Environment& environment) {
  const Pictures& expected = playedStraight(name, script);
  const Folder folder;
  PictureProgram program(folder, display, environment);
  const Observer observer(display);
  LibraryPlay play(&program, observer, expected);
  script(play);
  EXPECT_TRUE(program.hasLoaded("libGLX_zol.so.0"));
  EXPECT_TRUE(program.hasLoaded("libGLX_zolsoft.so.0"));
  EXPECT_EQ(program.ask("errors"), "0") << program.errors();
  EXPECT_EQ(program.end(), 0) << program.errors();
  EXPECT_EQ(realErrors(program.log()), rig::Lines{});
}

} // namespace zol::endtoend
