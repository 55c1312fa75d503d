#pragma once

#include "rig/fixture.h"

namespace zol::rig {

// A driver that has, besides the three configurations of the application's visuals, one that is
// only a candidate of the double-buffered visual, one whose visual none of the application's
// stands for, and one without a visual.
class OddConfigsRig : public Rig {
protected:
  // Servers, library and a display of the application; nothing is paired and no map is built.
  void prepare();
  // The same, paired, with the map of the visuals built and one context, "ctx1".
  void open();
  // What a fixture looks up in the library, or makes on the display; prepare() calls it.
  virtual void findFunctions() {}

  // What the driver is asked about a configuration that is looked up by its visual.
  static Lines lookUpCalls(const std::string& config);
  // What is logged when that finds the configuration's visual in the map...
  static std::string foundLine(GLXFBConfig config);
  // ...when it finds the configuration among the candidates of an entry...
  static Lines candidateLines(GLXFBConfig config);
  // ...and when it finds nothing.
  static Lines notFoundLines(GLXFBConfig config);

  // Does it on a thread of its own, which reaches no display.
  static void onCutOffThread(const std::function<void()>& work);
  // Makes the drawable current; whether its record is of another configuration than "ctx1".
  bool isOfAnotherConfig(GLXDrawable drawable);

  Display* display_ = nullptr;
  GLXContext context_ = nullptr;
  GLXFBConfig candidate_ = nullptr; // "fb4"
  GLXFBConfig stranger_ = nullptr;  // "fb5"
  GLXFBConfig blind_ = nullptr;     // "fb6"
  VisualID candidateVisual_ = 0;
  VisualID strangerVisual_ = 0;

private:
  std::vector<VisualID> freeLocalVisuals();
};

} // namespace zol::rig
