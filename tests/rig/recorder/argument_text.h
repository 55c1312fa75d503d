#pragma once

#include "rig/recorder/driver_state.h"
#include "rig/recorder/gl_names.h"

#include <cstdio>
#include <type_traits>

// How arguments are written in a recorded call: one overload per type that has a meaning, pointers
// by what they are for.
namespace zol::rig {

inline std::string hexText(unsigned long value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "0x%lx", value);
  return buffer;
}

inline std::string realText(double value) {
  char buffer[32];
  std::snprintf(buffer, sizeof buffer, "%g", value);
  return buffer;
}

template <std::size_t N>
const char* findName(const EnumName (&names)[N], long value) {
  for (const EnumName& entry : names) {
    if (entry.value == value) return entry.name;
  }
  return nullptr;
}

inline std::string argumentText(Display* display) {
  return driver().displayName(display);
}
inline std::string argumentText(GLXContext context) {
  return driver().nameOf(context);
}
inline std::string argumentText(unsigned long xid) {
  return driver().nameOf(xid);
}
inline std::string argumentText(unsigned long long value) { // GLuint64, where long has 32 bits
  return std::to_string(value);
}
inline std::string argumentText(GLXFBConfig config) {
  return config != nullptr ? config->name : "NULL";
}
inline std::string argumentText(XVisualInfo* visual) {
  return visual != nullptr ? "visual " + hexText(visual->visualid) : "NULL";
}
inline std::string argumentText(long value) {
  return std::to_string(value);
}
inline std::string argumentText(float value) {
  return realText(value);
}
inline std::string argumentText(double value) {
  return realText(value);
}
inline std::string argumentText(unsigned char value) {
  return std::to_string(value);
}
inline std::string argumentText(const char* text) {
  return text != nullptr ? '"' + std::string(text) + '"' : "NULL";
}

inline std::string argumentText(unsigned int value) {
  if (value < 256) return std::to_string(value);
  const char* const name = findName(kGLNames, static_cast<long>(value));
  return name != nullptr ? name : hexText(value);
}

inline std::string argumentText(int value) {
  if (value < 0x8000) return std::to_string(value);
  const char* name = findName(kGLXNames, value);
  if (name == nullptr) name = findName(kGLNames, value);
  return name != nullptr ? name : std::to_string(value);
}

// An attribute list: pairs up to a zero attribute.
inline std::string argumentText(const int* pairs) {
  if (pairs == nullptr) return "NULL";
  std::string text = "{";
  for (; *pairs != 0; pairs += 2) {
    const char* const name = findName(kGLXNames, *pairs);
    text += (name != nullptr ? name : hexText(static_cast<unsigned>(*pairs))) + "=" +
            argumentText(pairs[1]) + ", ";
  }
  return text + "0}";
}

template <class T>
std::string argumentText(T* pointer) {
  if (pointer == nullptr) return "NULL";
  return std::is_function_v<T> ? "function" : "&";
}

inline std::string argumentsText() {
  return "";
}

inline std::string listText(int count, const unsigned int* names) {
  std::string text = std::to_string(count) + ", {";
  for (int i = 0; i < count; ++i)
    text += (i > 0 ? ", " : "") + std::to_string(names[i]);
  return text + "}";
}

// Names to delete are written out; names to generate are known only afterwards.
inline std::string argumentsText(int count, const unsigned int* names) {
  return listText(count, names);
}
inline std::string argumentsText(int count, unsigned int*) {
  return std::to_string(count);
}

// The list is an input although it is not const.
inline std::string argumentsText(Display* display, GLXFBConfig config, unsigned width,
                                 unsigned height, int* attributes) {
  return argumentText(display) + ", " + argumentText(config) + ", " + argumentText(width) + ", " +
         argumentText(height) + ", " + argumentText(static_cast<const int*>(attributes));
}

template <class First, class... Rest>
std::string argumentsText(First first, Rest... rest) {
  std::string text = argumentText(first);
  ((text += ", " + argumentText(rest)), ...);
  return text;
}

// What follows a call that succeeded: the handle it made, if it made one.
template <class... Arguments>
std::string madeText(const char*, int, Arguments...) {
  return "";
}
template <class... Arguments>
std::string madeText(const char*, GLXContext made, Arguments...) {
  return " = " + driver().nameOf(made);
}
template <class... Arguments>
std::string madeText(const char* name, unsigned long made, Arguments...) {
  return std::string(name).rfind("glXCreate", 0) == 0 ? " = " + driver().nameOf(made) : "";
}
template <class... Arguments>
std::string madeText(const char* name, unsigned int made, Arguments...) {
  return std::string(name).rfind("glCreate", 0) == 0 ? " = " + std::to_string(made) : "";
}
template <class Pointer, class... Arguments>
std::string madeText(const char*, Pointer*, Arguments...) {
  return "";
}
inline std::string generatedText(const char* name, int count, unsigned int* names) {
  if (std::string(name).rfind("glGen", 0) != 0) return "";
  std::string text = " =";
  for (int i = 0; i < count; ++i)
    text += ' ' + std::to_string(names[i]);
  return text;
}
template <class... Arguments>
std::string generatedText(const char*, Arguments...) {
  return "";
}

} // namespace zol::rig
