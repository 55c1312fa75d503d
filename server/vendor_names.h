#pragma once

// Makes the server answer glXQueryServerString(GLX_VENDOR_NAMES_EXT) with `names` (separated by
// blanks) instead of the names of its own GLX; every other GLX request goes on to that. Called once
// per server generation. `names` is kept by reference.
void ZolAnnounceVendorNames(const char* names);
