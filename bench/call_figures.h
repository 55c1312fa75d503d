#pragma once

#include "call_rig.h"

namespace zol::bench {

// Each prints lines of columns; bench_calls.cpp says which.

void measureCalls(const CallRig& rig, int rounds);
void measureViewport(const CallRig& rig, int rounds);
void measureFrame(const CallRig& rig, int rounds);
void measureVisualMap(const CallRig& rig, int rounds);
void measureIdleWindows(const CallRig& rig, int rounds);
void measureThreads(const CallRig& rig, int rounds);

} // namespace zol::bench
