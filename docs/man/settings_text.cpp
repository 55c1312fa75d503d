// Writes the settings as text: "man" for zol-gl.conf(5), in which it takes the place of a line
// on standard input, or "file" for the annotated settings file.

#include <cstdio>
#include <cstring>
#include <iostream>
#include <string>
#include <string_view>

namespace {

constexpr char kPlace[] = R"(.\" SETTINGS)";

// Without a value to begin with, so that each field has to be given one.
struct Description {
  Description() = delete;
  constexpr Description(const char* text) : text(text) {}
  const char* text;
};

struct Descriptions {
#define ZOL_SETTING(field, key, section, env, type, def) Description field;
#include "foundation/conf_settings.def"
};

constexpr Descriptions kDescriptions = {
#define ZOL_DESCRIPTION(field, text) .field = text,
#include "foundation/conf_descriptions.def"
};

struct Flag {};
struct SharedFlag {};
struct Number {};
struct Text {};

const char* typeName(Flag) {
  return "bool";
}
const char* typeName(SharedFlag) {
  return "bool";
}
const char* typeName(Number) {
  return "int";
}
const char* typeName(Text) {
  return "string";
}

std::string valueText(bool value) {
  return value ? "true" : "false";
}
std::string valueText(int value) {
  return std::to_string(value);
}
std::string valueText(const char* value) {
  return value;
}
std::string valueText(std::nullptr_t) {
  return "";
}

struct Setting {
  std::string key;
  std::string section;
  std::string variable;
  std::string type;
  std::string standard; // empty: unset
  std::string description;
};

const Setting kSettings[] = {
#define ZOL_SETTING(field, key, section, env, type, def)                                           \
  {key, section, env, typeName(type{}), valueText(def), kDescriptions.field.text},
#include "foundation/conf_settings.def"
};

// The sections in the order in which they first occur; each shows its settings.
template <typename ShowSection, typename Show>
void forEachSection(ShowSection showSection, Show show) {
  std::string shown = " ";
  for (const Setting& first : kSettings) {
    if (shown.find(" " + first.section + " ") != std::string::npos) continue;
    shown += first.section + " ";
    showSection(first.section);
    for (const Setting& setting : kSettings) {
      if (setting.section == first.section) show(setting);
    }
  }
}

// Text as roff takes it for itself: no minus sign turns into a hyphen, no quotation mark into more.
std::string roff(const std::string& text) {
  std::string out;
  for (const char c : text) {
    switch (c) {
    case '\\':
      out += "\\e";
      break;
    case '-':
      out += "\\-";
      break;
    case '"':
      out += "\\(dq";
      break;
    case '\'':
      out += "\\(aq";
      break;
    default:
      out += c;
    }
  }
  return out;
}

// The words in lines of at most 78 characters, each after the prefix.
void writeLines(const std::string& text, const std::string& prefix) {
  constexpr size_t kWidth = 78;
  std::string line;
  for (size_t at = 0; at < text.size();) {
    const size_t end = std::min(text.find(' ', at), text.size());
    const std::string_view word = std::string_view(text).substr(at, end - at);
    if (!line.empty() && line.size() + 1 + word.size() > kWidth) {
      std::cout << line << "\n";
      line.clear();
    }
    line.append(line.empty() ? prefix : " ").append(word);
    at = end + 1;
  }
  std::cout << line << "\n";
}

// roff wants each sentence to begin a line.
void writeSentences(const std::string& text) {
  size_t at = 0;
  for (size_t end; (end = text.find(". ", at)) != std::string::npos; at = end + 2)
    writeLines(text.substr(at, end + 1 - at), "");
  writeLines(text.substr(at), "");
}

void writeManual() {
  forEachSection(
      [](const std::string& section) { std::cout << ".SS Section [" << section << "]\n"; },
      [](const Setting& setting) {
        std::cout << ".TP\n.BR " << roff(setting.key) << " \" (" << setting.type << ", \"";
        if (setting.standard.empty()) {
          std::cout << " unset )\n";
        } else {
          std::cout << " \"\" " << roff(setting.standard) << " )\n";
        }
        writeSentences(roff(setting.description));
        std::cout << "Variable:\n.BR \\%" << setting.variable << " .\n";
      });
}

void writeFile() {
  std::cout << R"(# Settings of the GL vendor library libGLX_zol.so.0: zol-gl.conf(5).
#
# Every setting stands here with its default. To change one, copy its line into
# ~/.config/zol/zol-gl.conf (for yourself) or /etc/zol/zol-gl.conf (for all users),
# below the line with its section, without the "#" in front.
)";
  forEachSection([](const std::string& section) { std::cout << "\n[" << section << "]\n"; },
                 [](const Setting& setting) {
                   std::cout << "\n";
                   writeLines(setting.description, "# ");
                   std::cout << "# (" << setting.type << "; variable " << setting.variable << ")\n";
                   std::cout << "#" << setting.key << " =" << (setting.standard.empty() ? "" : " ")
                             << setting.standard << "\n";
                 });
}

// Copies standard input, with the settings where they belong; false when that is nowhere.
bool fillInManual() {
  bool found = false;
  for (std::string line; std::getline(std::cin, line);) {
    if (line == kPlace) {
      found = true;
      writeManual();
    } else {
      std::cout << line << "\n";
    }
  }
  return found;
}

} // namespace

int main(int argc, char** argv) {
  const std::string_view form = argc == 2 ? argv[1] : "";
  if (form == "file") {
    writeFile();
  } else if (form != "man") {
    std::cerr << "usage: zol-settings-text file | zol-settings-text man <PAGE\n";
    return 2;
  } else if (!fillInManual()) {
    std::cerr << "zol-settings-text: the page has no line " << kPlace << "\n";
    return 1;
  }
  return std::cout.flush() ? 0 : 1;
}
