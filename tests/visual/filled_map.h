#pragma once

#include "visual/fake_displays.h"
#include "visual/fbconfig_owners.h"
#include "visual/visual_map.h"

#include <gtest/gtest.h>

// A visual map that is built but empty, for the test to fill.
class FilledMap : public testing::Test {
protected:
  void SetUp() override {
    fake::reset().appVisuals = {{0x1, 24, {{GLX_USE_GL, 0}}}};
    initializeVisualMap(fake::app, 1, nullptr);
    world = &fake::reset();
  }

  void TearDown() override {
    zol::MutexLock lock(getLVIMutex());
    for (zol::gl::LocalVisualInfo* entry : *getListLocalVisuals())
      delete entry;
    getListLocalVisuals()->clear();
    getFBConfigOwners()->clear();
  }

  static zol::gl::LocalVisualInfo* add(unsigned int appId, unsigned int localId) {
    auto* const entry = new zol::gl::LocalVisualInfo;
    entry->appVisual.visualId = appId;
    entry->localVisual.visualId = localId;
    zol::MutexLock lock(getLVIMutex());
    getListLocalVisuals()->push_back(entry);
    return entry;
  }

  static void offer(zol::gl::LocalVisualInfo* entry, GLXFBConfig* configs, int count) {
    entry->fbConfigs = configs;
    entry->numFBConfigs = count;
    zol::MutexLock lock(getLVIMutex());
    getFBConfigOwners()->add(entry);
  }

  fake::World* world = nullptr;
};
