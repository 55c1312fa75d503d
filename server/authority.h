#pragma once

#include <string>

namespace zol::server {

// Makes sure that the authority file `path` holds a key that the server can ask its clients for. A
// file that is missing or empty is written with one new key that is good for every display,
// readable by its owner only. Throws std::runtime_error, with the reason as a sentence.
void prepareAuthority(const std::string& path);

} // namespace zol::server
