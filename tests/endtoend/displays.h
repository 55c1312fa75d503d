#pragma once

#include <string>

// The X servers of the tests: started at first use, shared by all tests of the program, and stopped
// when the last one has run. Their names.
namespace zol::endtoend {

// A software local display, with the vendors "zolsoft mesa".
const std::string& localDisplay();

// An application display that sends its programs there.
const std::string& appDisplay();
// The same without an extension of the X server ("MIT-SHM", "GLX").
const std::string& appDisplayWithout(const std::string& extension);
// One that names another local display.
const std::string& appDisplayFor(const std::string& glDisplay);

// A server that is no application display: GLX, but neither "ZOL-V1" nor our vendors.
const std::string& plainDisplay();

// A server without GLX.
const std::string& displayWithoutGlx();

} // namespace zol::endtoend
