#pragma once

// The path of the program that is running; its length, or -1.
int zolGetCurrentProcessExe(char* buffer, unsigned size);

// The program's command as it was invoked. "Unknown" when it cannot be told and the buffer has room
// for that.
void zolGetCurrentProcessName(char* buffer, unsigned size);
