#include "endtoend/picture/gl_function.h"
#include "endtoend/picture/words.h"

namespace zol::endtoend {
namespace {

struct StageFont {
  Font id = None;
  GLuint lists = 0;
};
StageFont font;

std::string loadFont(Stage& stage, std::istringstream& words) {
  const auto name = next<std::string>(words);
  XFontStruct* const info = XLoadQueryFont(stage.display(), name.c_str());
  if (info == nullptr) throw std::runtime_error("no font " + name);
  font.id = info->fid;
  XFreeFontInfo(nullptr, info, 1);
  return ok();
}

// Display lists for its characters; how many there are then.
std::string useFont(Stage&, std::istringstream& words) {
  constexpr GLuint kBase = 1000; // so that only glXUseXFont makes them
  const int first = next<int>(words), count = next<int>(words);
  glXUseXFont(font.id, first, count, static_cast<int>(kBase) + first);
  font.lists = kBase;
  int made = 0;
  for (int i = first; i < first + count; ++i) {
    if (glIsList(kBase + static_cast<GLuint>(i))) ++made;
  }
  return ok(std::to_string(made));
}

// Begins at a place that is counted from the bottom.
std::string write(Stage&, std::istringstream& words) {
  const int x = next<int>(words), y = next<int>(words);
  const auto colour = static_cast<std::uint32_t>(std::stoul(next<std::string>(words), nullptr, 16));
  const auto text = next<std::string>(words);
  static const auto windowPosition = glFunction<PFNGLWINDOWPOS2IPROC>("glWindowPos2i");
  glColor4ub(static_cast<GLubyte>(colour >> 16), static_cast<GLubyte>(colour >> 8),
             static_cast<GLubyte>(colour), static_cast<GLubyte>(colour >> 24));
  windowPosition(x, y);
  glListBase(font.lists);
  glCallLists(static_cast<GLsizei>(text.size()), GL_UNSIGNED_BYTE, text.data());
  return ok();
}

// How far a text moves the raster position.
std::string measure(Stage&, std::istringstream& words) {
  const auto text = next<std::string>(words);
  static const auto windowPosition = glFunction<PFNGLWINDOWPOS2IPROC>("glWindowPos2i");
  windowPosition(0, 0);
  glListBase(font.lists);
  glCallLists(static_cast<GLsizei>(text.size()), GL_UNSIGNED_BYTE, text.data());
  GLfloat place[4] = {};
  glGetFloatv(GL_CURRENT_RASTER_POSITION, place);
  return ok(std::to_string(static_cast<int>(place[0])));
}

} // namespace

const Commands& fontCommands() {
  static const Commands commands = {
      {"load-font", loadFont}, // FONT
      {"use-font", useFont},   // FIRST COUNT: how many lists have something in them
      {"write", write},        // X Y COLOUR TEXT
      {"measure", measure},    // TEXT: its width
  };
  return commands;
}

} // namespace zol::endtoend
