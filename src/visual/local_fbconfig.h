#pragma once

#include "vendor/glx_api.h"

// Handles of FBConfigs belong to the connection that they were asked on, and the visual map was
// built on one. A program with several connections has several local displays; before the driver
// sees a handle on another of them it is exchanged for that one's handle of the same id.

// Says which local display the visual map's handles belong to, and whose it is. Called once, by the
// map's build.
void setHomeOfFBConfigs(Display* appDisplay, Display* local);

// A local display may be closed next: the ids of the map's handles are kept if they are its, and
// serve from now on. Hold the local display mutex.
void leaveHomeOfFBConfigs(Display* local);

// The display is about to be closed. Hold the local display mutex.
void forgetFBConfigsOf(Display* local);

// Keeps the map's local display open, if it is, for the rest of the call.
void holdHomeOfFBConfigs();

// The FBConfig id of one of the map's handles; 0 for any other. Hold the local display mutex, or
// the map's display as above.
int idOfMappedFBConfig(GLXFBConfig mapped);

// `config` as `local` knows it: the same handle on the map's own local display, and wherever none
// of the same id is found. Hold the local display mutex.
GLXFBConfig fbconfigOn(Display* local, GLXFBConfig config);

// The way back: the visual map's handle for a `config` of `local`. Hold the local display mutex.
GLXFBConfig fbconfigAtHome(Display* local, GLXFBConfig config);
