#include "scene.h"

#include <GL/gl.h>

#include <cmath>

namespace zol::bench {

namespace {

// A ring whose tube is as thick as `tube` and whose radius waves, which gives it cogs.
struct Solid {
  float colour[4];
  float x, y;
  float radius, tube, wave;
  int cogs;
  float turn; // degrees for one degree of the scene
};

constexpr Solid kRings[] = {
    {{0.85f, 0.20f, 0.10f, 1}, -2.4f, -1.6f, 3.0f, 0.8f, 0.45f, 16, 1},
    {{0.15f, 0.70f, 0.25f, 1}, 3.3f, -1.9f, 1.5f, 0.5f, 0.35f, 8, -2},
    {{0.25f, 0.30f, 0.90f, 1}, -2.2f, 4.2f, 1.5f, 0.4f, 0.35f, 8, -2},
};

constexpr float kFullTurn = 6.2831853f;
constexpr float kDegreesPerFrame = 1.5f;
constexpr int kStepsPerCog = 4;
constexpr int kStepsAround = 8;

struct Vector {
  float x, y, z;
};

Vector operator-(const Vector& a, const Vector& b) {
  return {a.x - b.x, a.y - b.y, a.z - b.z};
}

Vector pointOf(const Solid& solid, int step, int around) {
  const float along =
      kFullTurn * static_cast<float>(step) / static_cast<float>(solid.cogs * kStepsPerCog);
  const float across = kFullTurn * static_cast<float>(around) / kStepsAround;
  const float radius = solid.radius +
                       solid.wave * std::sin(along * static_cast<float>(solid.cogs)) +
                       solid.tube * std::cos(across);
  return {radius * std::cos(along), radius * std::sin(along), solid.tube * std::sin(across)};
}

// The surface's unit normal there, from the points around it.
Vector normalOf(const Solid& solid, int step, int around) {
  const Vector a = pointOf(solid, step + 1, around) - pointOf(solid, step - 1, around);
  const Vector b = pointOf(solid, step, around + 1) - pointOf(solid, step, around - 1);
  const Vector normal{a.y * b.z - a.z * b.y, a.z * b.x - a.x * b.z, a.x * b.y - a.y * b.x};
  const float length = std::hypot(normal.x, normal.y, normal.z);
  return {normal.x / length, normal.y / length, normal.z / length};
}

void corner(const Solid& solid, int step, int around) {
  const Vector normal = normalOf(solid, step, around);
  const Vector point = pointOf(solid, step, around);
  glNormal3f(normal.x, normal.y, normal.z);
  glVertex3f(point.x, point.y, point.z);
}

void drawSolid(const Solid& solid) {
  glMaterialfv(GL_FRONT, GL_AMBIENT_AND_DIFFUSE, solid.colour);
  for (int around = 0; around < kStepsAround; ++around) {
    glBegin(GL_QUAD_STRIP);
    for (int step = 0; step <= solid.cogs * kStepsPerCog; ++step) {
      corner(solid, step, around + 1);
      corner(solid, step, around);
    }
    glEnd();
  }
}

} // namespace

Scene::Scene() {
  static_assert(std::size(kRings) == kSolids);
  const GLfloat light[] = {5, 5, 10, 0};
  glLightfv(GL_LIGHT0, GL_POSITION, light);
  for (const GLenum state : {GL_CULL_FACE, GL_LIGHTING, GL_LIGHT0, GL_DEPTH_TEST})
    glEnable(state);
  for (int i = 0; i < kSolids; ++i) {
    lists_[i] = glGenLists(1);
    glNewList(lists_[i], GL_COMPILE);
    drawSolid(kRings[i]);
    glEndList();
  }
}

void Scene::resize(Size size) const {
  const double height = static_cast<double>(size.height) / size.width;
  glViewport(0, 0, size.width, size.height);
  glMatrixMode(GL_PROJECTION);
  glLoadIdentity();
  glFrustum(-1, 1, -height, height, 5, 60);
  glMatrixMode(GL_MODELVIEW);
  glLoadIdentity();
  glTranslatef(0, 0, -40);
}

void Scene::draw() {
  glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
  glPushMatrix();
  glRotatef(20, 1, 0, 0);
  glRotatef(30, 0, 1, 0);
  for (int i = 0; i < kSolids; ++i) {
    glPushMatrix();
    glTranslatef(kRings[i].x, kRings[i].y, 0);
    glRotatef(kRings[i].turn * angle_, 0, 0, 1);
    glCallList(lists_[i]);
    glPopMatrix();
  }
  glPopMatrix();
  angle_ += kDegreesPerFrame;
}

} // namespace zol::bench
