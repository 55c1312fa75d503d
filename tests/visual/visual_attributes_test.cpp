#include "visual/attribute_names.h"
#include "visual/fake_displays.h"
#include "visual/recording.h"
#include "visual/visual_attributes.h"
#include "visual/visual_map.h"

#include <cstddef>
#include <gtest/gtest.h>

using zol::gl::LocalVisualInfo;
using zol::gl::RequestKind;
using zol::gl::XVisualAttributes;

namespace {

std::vector<int> askedAttributes() {
  std::vector<int> asked;
  for (const std::string& call : recording::calls())
    asked.push_back(std::stoi(call.substr(call.rfind(' '))));
  return asked;
}

XVisualAttributes fetch(std::map<int, int> answers, bool withMultisample) {
  fake::World& world = fake::reset();
  world.appVisuals = {{0x21, 24, std::move(answers)}};
  XVisualInfo info = fake::info(0x21, 24, DirectColor);
  XVisualAttributes out;
  out.samples = 99;
  out.visualCaveat = 99;
  fetchXVisualInfoAttributes(fake::app, &info, &out, withMultisample);
  return out;
}

std::vector<int> attribList(const XVisualAttributes& visual) {
  LocalVisualInfo entry;
  entry.appVisual = visual;
  int list[zol::gl::maxAttribListSize];
  entry.populateAttribList(list);
  std::vector<int> result;
  for (int i = 0; i < zol::gl::maxAttribListSize; ++i) {
    result.push_back(list[i]);
    if (i % 2 == 0 && list[i] == 0) break;
  }
  return result;
}

// Every field has its own value.
XVisualAttributes numbered() {
  XVisualAttributes visual;
  visual.bufferSize = 102;
  visual.level = 103;
  visual.rgba = 1;
  visual.doubleBuffer = 1;
  visual.stereo = 0;
  visual.auxBuffers = 107;
  visual.redSize = 108;
  visual.greenSize = 109;
  visual.blueSize = 110;
  visual.alphaSize = 111;
  visual.depthSize = 112;
  visual.stencilSize = 113;
  visual.accumRedSize = 114;
  visual.accumGreenSize = 115;
  visual.accumBlueSize = 116;
  visual.accumAlphaSize = 117;
  visual.transparentType = GLX_NONE;
  visual.transparentRed = 0x125;
  visual.transparentGreen = 0x126;
  visual.transparentBlue = 0x127;
  visual.transparentAlpha = 0x128;
  visual.transparentIndex = 0x124;
  visual.samples = 4;
  visual.sampleBuffers = 0;
  return visual;
}

const std::vector<int> commonPairs = {2,   102, 3,   103, 0x8011, 1,   5,   1,   6,   0,  7,
                                      107, 8,   108, 9,   109,    10,  110, 11,  111, 12, 112,
                                      13,  113, 14,  114, 15,     115, 16,  116, 17,  117};

std::vector<int> commonAnd(std::initializer_list<int> rest) {
  std::vector<int> list = commonPairs;
  list.insert(list.end(), rest);
  return list;
}

} // namespace

TEST(VisualAttributes, HoldsTheFieldsInTheirOrder) {
  const size_t offsets[] = {
#define ZOL_VISUAL_INFO(field, type, member) offsetof(XVisualAttributes, field),
#define ZOL_VISUAL_GLX(field, attribute, label, request, query) offsetof(XVisualAttributes, field),
#include "visual/visual_attributes.def"
  };
  ASSERT_EQ(std::size(offsets), 34u);
  for (size_t i = 0; i < std::size(offsets); ++i)
    EXPECT_EQ(offsets[i], 4 * i);
  EXPECT_EQ(offsetof(XVisualAttributes, depth), 4 * 2u);
  EXPECT_EQ(offsetof(XVisualAttributes, useGL), 4 * 8u);
  EXPECT_EQ(offsetof(XVisualAttributes, samples), 4 * 31u);
  EXPECT_EQ(offsetof(XVisualAttributes, sampleBuffers), 4 * 32u);
  EXPECT_EQ(offsetof(XVisualAttributes, visualCaveat), 4 * 33u);
}

TEST(VisualAttributes, HasTheTwentySixAttributesOfVisualsWithTheirLabels) {
  const auto expected = attributeNames(AttributeName::VISUALS);
  ASSERT_EQ(expected.size(), 26u);
  ASSERT_EQ(zol::gl::visualAttributes().size(), expected.size());
  for (size_t i = 0; i < expected.size(); ++i) {
    const zol::gl::VisualAttribute& row = zol::gl::visualAttributes()[i];
    EXPECT_EQ(row.attribute, expected[i].first);
    EXPECT_EQ(row.label, expected[i].second);
    EXPECT_EQ(zol::gl::findVisualAttribute(row.attribute), &row);
    const bool flag = row.attribute == 1 || (row.attribute >= 4 && row.attribute <= 6);
    EXPECT_EQ(row.request, flag                    ? RequestKind::FLAG
                           : row.attribute == 0x20 ? RequestKind::UNKNOWN
                                                   : RequestKind::VALUE)
        << row.label;
  }
  EXPECT_EQ(zol::gl::findVisualAttribute(0x22), nullptr);
}

TEST(FetchXVisualInfoAttributes, AsksNothingMoreOfAVisualWithoutOpenGL) {
  const XVisualAttributes out = fetch({{GLX_USE_GL, 0}, {GLX_LEVEL, 5}}, true);
  EXPECT_EQ(askedAttributes(), std::vector<int>{GLX_USE_GL});
  EXPECT_EQ(out.visualId, 0x21u);
  EXPECT_EQ(out.visualClass, DirectColor);
  EXPECT_EQ(out.depth, 24);
  EXPECT_EQ(out.redMask, 0xff0000u);
  EXPECT_EQ(out.greenMask, 0xff00u);
  EXPECT_EQ(out.blueMask, 0xffu);
  EXPECT_EQ(out.colormapSize, 256);
  EXPECT_EQ(out.bitsPerRgb, 8);
  EXPECT_EQ(out.useGL, 0);
  EXPECT_EQ(out.level, 0);
  EXPECT_EQ(out.samples, 0);
  EXPECT_EQ(out.visualCaveat, 0);
}

TEST(FetchXVisualInfoAttributes, TakesOnlyAnExactOneForOpenGL) {
  EXPECT_EQ(fetch({{GLX_USE_GL, 2}, {GLX_LEVEL, 5}}, true).level, 0);
  EXPECT_EQ(askedAttributes(), std::vector<int>{GLX_USE_GL});
}

TEST(FetchXVisualInfoAttributes, AsksForTheSampleCountsOnlyWithMultisampling) {
  const std::vector<int> without = {1,  2,  3,  4,  5,  6,  7,  8,  9,   10,
                                    11, 12, 13, 14, 15, 16, 17, 35, 0x20};
  EXPECT_EQ(fetch(fake::rgba(true, 0, 4), false).samples, 0);
  EXPECT_EQ(askedAttributes(), without);

  std::vector<int> with = without;
  with.insert(with.end() - 1, {100000, 100001});
  const XVisualAttributes out = fetch(fake::rgba(true, 0, 4), true);
  EXPECT_EQ(askedAttributes(), with);
  EXPECT_EQ(out.samples, 4);
  EXPECT_EQ(out.sampleBuffers, 1);
  EXPECT_EQ(out.visualCaveat, GLX_NONE);
  EXPECT_EQ(out.doubleBuffer, 1);
  EXPECT_EQ(out.stencilSize, 8);
}

TEST(FetchXVisualInfoAttributes, AsksForTheTransparentColourOrIndexThatTheTypeHas) {
  std::map<int, int> answers = fake::rgba(true);
  answers[GLX_TRANSPARENT_TYPE] = GLX_TRANSPARENT_RGB;
  answers[GLX_TRANSPARENT_RED_VALUE] = 31;
  answers[GLX_TRANSPARENT_ALPHA_VALUE] = 34;
  answers[GLX_TRANSPARENT_INDEX_VALUE] = 35;
  const XVisualAttributes rgb = fetch(answers, false);
  const std::vector<int> askedRgb = askedAttributes();
  EXPECT_EQ(std::vector<int>(askedRgb.begin() + 17, askedRgb.end()),
            (std::vector<int>{0x23, 0x25, 0x26, 0x27, 0x28, 0x20}));
  EXPECT_EQ(rgb.transparentRed, 31);
  EXPECT_EQ(rgb.transparentAlpha, 34);
  EXPECT_EQ(rgb.transparentIndex, 0);

  answers[GLX_TRANSPARENT_TYPE] = GLX_TRANSPARENT_INDEX;
  const XVisualAttributes index = fetch(answers, false);
  const std::vector<int> askedIndex = askedAttributes();
  EXPECT_EQ(std::vector<int>(askedIndex.begin() + 17, askedIndex.end()),
            (std::vector<int>{0x23, 0x24, 0x20}));
  EXPECT_EQ(index.transparentRed, 0);
  EXPECT_EQ(index.transparentIndex, 35);
}

TEST(PopulateAttribList, AsksForTheBuffersOfAnOpaqueVisual) {
  EXPECT_EQ(attribList(numbered()), commonAnd({0}));
}

TEST(PopulateAttribList, AsksForColourIndexWhenTheVisualIsNotRgba) {
  XVisualAttributes visual = numbered();
  visual.rgba = 0;
  std::vector<int> expected = commonAnd({0});
  expected[5] = 2;
  EXPECT_EQ(attribList(visual), expected);
}

TEST(PopulateAttribList, MakesFlagsOfDoubleBufferAndStereo) {
  XVisualAttributes visual = numbered();
  visual.doubleBuffer = 0;
  visual.stereo = 7;
  std::vector<int> expected = commonAnd({0});
  expected[7] = 0;
  expected[9] = 1;
  EXPECT_EQ(attribList(visual), expected);
  visual.doubleBuffer = 3;
  expected[7] = 1;
  EXPECT_EQ(attribList(visual), expected);
}

TEST(PopulateAttribList, AddsTheTransparentColourOrIndex) {
  XVisualAttributes visual = numbered();
  visual.transparentType = GLX_TRANSPARENT_RGB;
  EXPECT_EQ(attribList(visual),
            commonAnd({0x23, 0x8008, 0x25, 0x125, 0x26, 0x126, 0x27, 0x127, 0x28, 0x128, 0}));
  visual.transparentType = GLX_TRANSPARENT_INDEX;
  EXPECT_EQ(attribList(visual), commonAnd({0x23, 0x8009, 0x24, 0x124, 0}));
}

TEST(PopulateAttribList, AddsTheSampleCountsOfAMultisampledVisual) {
  XVisualAttributes visual = numbered();
  visual.sampleBuffers = 1;
  EXPECT_EQ(attribList(visual), commonAnd({100000, 1, 100001, 4, 0}));
}

TEST(PopulateAttribList, TheLongestListHasTheAnnouncedSize) {
  XVisualAttributes visual = numbered();
  visual.transparentType = GLX_TRANSPARENT_RGB;
  visual.sampleBuffers = 1;
  EXPECT_EQ(attribList(visual).size(), static_cast<size_t>(zol::gl::maxAttribListSize));
}
