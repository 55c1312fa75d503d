#include "foundation/ini_file.h"

#include "foundation/heap_text.h"
#include "foundation/ini_reader.h"
#include "foundation/map.h"
#include "foundation/strings.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>
#include <string_view>
#include <unistd.h>
#include <vector>

namespace zol {

namespace {

bool isEmpty(const char* text) {
  return !text || !*text;
}

HeapText makeKey(const char* section, const char* name) {
  const auto size = static_cast<unsigned>(std::strlen(section) + std::strlen(name) + 3);
  HeapText key(static_cast<char*>(std::malloc(size)));
  if (!key) return key;
  zolSprintf(key.get(), size, "%s::%s", section, name);
  for (char* c = key.get(); *c; ++c)
    *c = static_cast<char>(std::toupper(static_cast<unsigned char>(*c)));
  return key;
}

std::string_view sectionOf(const char* key) {
  return {key, static_cast<size_t>(std::strstr(key, "::") - key)};
}

} // namespace

struct IniFile::Private {
  char* filename = nullptr;
  Map<const char*, char*> entries; // keys and values are heap strings of this object
  ErrorState* errorState = nullptr;

  ~Private() { clear(); }

  void clear();
  void setName(HeapText name);
  bool parse(const char* name);
  bool write(const char* name) const;
  bool writeEntries(FILE* file) const;
  bool writeSection(FILE* file, std::string_view section) const;
  bool addEntry(const char* section, const char* name, const char* value, bool keepExisting);
  bool removeEntry(const char* section, const char* name);
  void storeError(const ErrorState& error);
};

void IniFile::Private::clear() {
  setName(nullptr);
  delete errorState;
  errorState = nullptr;
  for (auto& entry : entries) {
    std::free(const_cast<char*>(entry.key));
    std::free(entry.value);
  }
  entries.clear();
}

void IniFile::Private::setName(HeapText name) {
  std::free(filename);
  filename = name.release();
}

void IniFile::Private::storeError(const ErrorState& error) {
  delete errorState;
  errorState = new (std::nothrow) ErrorState(error);
}

bool IniFile::Private::addEntry(const char* section, const char* name, const char* value,
                                bool keepExisting) {
  HeapText key = makeKey(section, name);
  if (!key) return false;
  auto* entry = entries.findNode(key.get());
  if (entry && keepExisting) return false;
  HeapText copy = copyText(value);
  if (!copy) return false;
  if (!entry) {
    entry = entries.insert(key.get());
    if (!entry) return false;
    static_cast<void>(key.release()); // the entry keeps it
  }
  std::free(entry->value);
  entry->value = copy.release();
  return true;
}

bool IniFile::Private::removeEntry(const char* section, const char* name) {
  const HeapText key = makeKey(section, name);
  auto* entry = key ? entries.findNode(key.get()) : nullptr;
  if (!entry) return false;
  const HeapText ownedKey(const_cast<char*>(entry->key));
  const HeapText ownedValue(entry->value);
  return entries.erase(ownedKey.get());
}

bool IniFile::Private::parse(const char* name) {
  if (isEmpty(name)) {
    storeError({6, 0, "No such file or directory."});
    return false;
  }
  IniReader reader(name);
  if (const ErrorState* error = reader.getParserState()) {
    std::fprintf(stderr, "Cannot open .ini file \"%s\": %s\n", name, error->message);
    storeError(*error);
    return false;
  }
  const auto store = [](void* self, const char* section, const char* key, const char* value) {
    return static_cast<int>(static_cast<Private*>(self)->addEntry(section, key, value, false));
  };
  if (!reader.parseIniFile(store, this)) {
    const ErrorState* error = reader.getParserState();
    std::fprintf(stderr, "Cannot parse .ini file \"%s\": %s (line %d)\n", name, error->message,
                 error->line);
    storeError(*error);
    return false;
  }
  delete errorState;
  errorState = nullptr;
  return true;
}

bool IniFile::Private::write(const char* name) const {
  FILE* file = name ? std::fopen(name, "wt") : nullptr;
  if (!file) return false;
  const bool printed = writeEntries(file);
  const bool flushed = std::fclose(file) == 0;
  ::sync(); // the file must reach the disk
  return printed && flushed;
}

bool IniFile::Private::writeEntries(FILE* file) const {
  std::vector<std::string_view> sections; // in the order of first appearance
  for (const auto& entry : entries) {
    const std::string_view section = sectionOf(entry.key);
    bool known = false;
    for (const auto& other : sections)
      known = known || other == section;
    if (!known) sections.push_back(section);
  }
  for (const auto& section : sections) {
    if (&section != &sections.front() && std::fputs("\n", file) < 0) return false;
    if (!writeSection(file, section)) return false;
  }
  return true;
}

bool IniFile::Private::writeSection(FILE* file, std::string_view section) const {
  const size_t length = section.size();
  if (std::fprintf(file, "[%.*s]\n", static_cast<int>(length), section.data()) < 0) return false;
  for (const auto& entry : entries) {
    // Deliberately a plain prefix: the entries of GLX appear under GL too, with odd names.
    if (std::strncmp(entry.key, section.data(), length) != 0) continue;
    if (std::fprintf(file, "%s = %s\n", entry.key + length + 2, entry.value) < 0) return false;
  }
  return true;
}

IniFile::IniFile() : d(new Private) {}

IniFile::IniFile(const char* filename, bool parse) : d(new Private) {
  setFilename(filename, parse);
}

IniFile::~IniFile() {
  delete d;
}

const char* IniFile::getFilename() const {
  return d->filename;
}

void IniFile::setFilename(const char* filename, bool parse) {
  HeapText name = copyText(filename);
  if (d->filename && parse) d->clear();
  d->setName(std::move(name));
  if (parse) d->parse(d->filename);
}

bool IniFile::parse(const char* filename) {
  HeapText name = copyText(filename ? filename : d->filename);
  d->clear();
  d->setName(std::move(name));
  if (isEmpty(d->filename)) std::fputs("Cannot parse file: Filename is empty\n", stderr);
  return d->parse(d->filename);
}

bool IniFile::write(const char* filename) {
  if (filename) setFilename(filename, false);
  if (isEmpty(d->filename)) std::fputs("Cannot write file: Filename is empty\n", stderr);
  return d->write(d->filename);
}

const char* IniFile::getValue(const char* section, const char* name) const {
  const char* refusal = nullptr;
  if (d->errorState)
    refusal = "Cannot get value: Parser is in error state\n";
  else if (isEmpty(section))
    refusal = "Cannot get value: Section is empty\n";
  else if (isEmpty(name))
    refusal = "Cannot get value: Name is empty\n";
  if (refusal) {
    std::fputs(refusal, stderr);
    return nullptr;
  }
  const HeapText key = makeKey(section, name);
  char* const* value = key ? d->entries.find(key.get()) : nullptr;
  return value ? *value : nullptr;
}

int IniFile::setValue(const char* section, const char* name, const char* value, bool keepExisting) {
  if (d->errorState) return std::fprintf(stderr, "Cannot set value: Parser is in error state\n");
  if (isEmpty(section)) return std::fprintf(stderr, "Cannot set value: Section is empty\n");
  if (isEmpty(name)) return std::fprintf(stderr, "Cannot set value: Name is empty\n");
  if (isEmpty(value)) return std::fprintf(stderr, "Cannot set value: Value is empty\n");
  return d->addEntry(section, name, value, keepExisting);
}

int IniFile::removeValue(const char* section, const char* name) {
  if (d->errorState) return std::fprintf(stderr, "Cannot remove value: Parser is in error state\n");
  if (isEmpty(section)) return std::fprintf(stderr, "Cannot remove value: Section is empty\n");
  if (isEmpty(name)) return std::fprintf(stderr, "Cannot remove value: Name is empty\n");
  return d->removeEntry(section, name);
}

ErrorState* IniFile::getParserState() const {
  return d->errorState;
}

} // namespace zol
