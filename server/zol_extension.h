#pragma once

// Adds the extension to the server; called once per server generation. `gl_display` is the answer
// to GetGLDisplay, NULL for none; it is kept by reference.
void ZolExtensionInit(const char* gl_display);
