#include "foundation/ini_reader.h"

#include "foundation/strings.h"

#include <cctype>
#include <cstdlib>
#include <cstring>
#include <initializer_list>

namespace zol {

namespace {

constexpr int PARSE_ERROR = 1;
constexpr int HANDLER_ERROR = 2;
constexpr int NO_HANDLER = 3;
constexpr int NO_FILENAME = 4;
constexpr int OUT_OF_MEMORY = 5;
constexpr int CANNOT_OPEN = 6;

constexpr const char* MESSAGES[] = {
    "",
    "Parse error.",
    "User function error.",
    "No user function available.",
    "Invalid argument",
    "Out of memory.",
    "No such file or directory.",
};

constexpr unsigned LINE_SIZE = 200;
constexpr unsigned SECTION_SIZE = 50;

bool isSpace(char c) {
  return std::isspace(static_cast<unsigned char>(c));
}

char* rstrip(char* text) {
  char* end = text + std::strlen(text);
  while (end > text && isSpace(end[-1]))
    *--end = '\0';
  return text;
}

char* lskip(char* text) {
  while (*text && isSpace(*text))
    ++text;
  return text;
}

// The first c, or a ';' that directly follows white space, or the end of the text.
char* find_char_or_comment(char* text, char c) {
  bool afterSpace = false;
  while (*text && *text != c && !(afterSpace && *text == ';')) {
    afterSpace = isSpace(*text);
    ++text;
  }
  return text;
}

// Where the name of the line ends; null when there is no separator.
char* findSeparator(char* line) {
  for (const char separator : {'=', ':'})
    if (char* found = find_char_or_comment(line, separator); *found == separator) return found;
  return nullptr;
}

} // namespace

IniReader::IniReader(const char* filename) {
  if (!filename) {
    setError(NO_FILENAME);
    return;
  }
  name = strdup(filename);
  if (!name) setError(OUT_OF_MEMORY);
  file = std::fopen(filename, "r");
  if (!file) setError(CANNOT_OPEN);
}

IniReader::~IniReader() {
  std::free(name);
  if (file) std::fclose(file);
}

void IniReader::setError(int code, int line) {
  hasError = true;
  error.code = code;
  error.line = line;
  zolSprintf(error.message, sizeof(error.message), "%s", MESSAGES[code]);
}

int IniReader::fail(int code, int line) {
  setError(code, line);
  return 0;
}

int IniReader::parseIniFile(Handler handler, void* user) {
  if (!handler) return fail(NO_HANDLER);
  if (!file) return 0; // the error is known since construction

  char buffer[LINE_SIZE];
  char section[SECTION_SIZE] = "";
  for (int number = 1; std::fgets(buffer, sizeof(buffer), file); ++number) {
    char* line = lskip(rstrip(buffer));
    if (!*line || *line == '#' || *line == ';') continue;
    if (*line == '[') {
      char* end = find_char_or_comment(line + 1, ']');
      if (*end != ']') return fail(PARSE_ERROR, number);
      *end = '\0';
      zolSprintf(section, sizeof(section), "%s", line + 1);
      continue;
    }
    char* separator = findSeparator(line);
    if (!separator) return fail(PARSE_ERROR, number);
    *separator = '\0';
    char* value = lskip(separator + 1);
    *find_char_or_comment(value, '\0') = '\0';
    if (!handler(user, section, rstrip(line), rstrip(value))) return fail(HANDLER_ERROR, number);
  }
  return 1;
}

} // namespace zol
