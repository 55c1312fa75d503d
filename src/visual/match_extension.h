#pragma once

// Whether `name` stands in `list` as a whole word. Only the blank separates words. False when
// either is null and when `name` is empty or contains a blank.
bool matchExtension(const char* list, const char* name);
