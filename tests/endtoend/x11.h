#pragma once

// Xlib defines words that GoogleTest's headers use: they come first.
// clang-format off
#include <gtest/gtest.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>
#include <X11/extensions/XRes.h>
#include <X11/extensions/Xdamage.h>
// clang-format on
