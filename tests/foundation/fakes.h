#pragma once

#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <sys/time.h>
#include <vector>

// What the system functions that the foundation calls are to do in place of the real thing. All of
// them pass through while their field is empty. Reset by FoundationTest.
struct Fakes {
  // fopen and access: a path that is answered by another one.
  std::map<std::string, std::string> paths;
  // readlink: the text that every link holds; an empty text fails.
  std::optional<std::string> link;
  std::optional<timeval> now;
  // getauxval(AT_SECURE): the program has more rights than its caller.
  bool privileged = false;

  // dlopen, dlsym: handled here first; nullopt passes the call on.
  std::function<std::optional<void*>(const std::string& file)> dlopen;
  std::function<std::optional<void*>(void* handle, const std::string& name)> dlsym;
  std::vector<std::string> dlopened;
  std::vector<int> dlopenFlags; // of each of them
  std::vector<std::string> dlsymed;
  std::vector<void*> dlclosed;
  bool closeForReal = true;

  // How many allocations succeed before the next one fails, once; nullopt: all succeed.
  std::optional<int> mallocsLeft;
  std::optional<int> strdupsLeft;
  std::optional<int> newsLeft; // operator new(std::nothrow)

  std::function<void()> sync; // the disk of the machine that runs the tests is left in peace
  std::vector<std::string> radixCharacters; // after each uselocale that sets a locale
};

extern Fakes fakes;

// Held for `paths` and `radixCharacters`, which threads of one test may reach at once.
extern std::mutex fakesMutex;
