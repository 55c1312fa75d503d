// The end of a local display that nobody uses any more.

#include "rig/lock_probe.h"
#include "rig/no_memory.h"
#include "rig/odd_configs.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <thread>
#include <unistd.h>
#include <vector>

using namespace zol::rig;

namespace {

int answer[2]; // that nobody reads

class LocalDisplay : public Rig {
protected:
  void open() {
    start();
    outside::holdDeliveries();
    display_ = openDisplay();
    destroyContext_ = GL_OF(host(), glXDestroyContext);
    forget();
  }
  GLXContext newContext() { return createContext(display_, visuals_.doubled); }
  Window newWindow() { return createWindow(display_, visuals_.doubled, 64, 48); }
  // One that was current with this context and is so no more.
  Window leftWindow(GLXContext context) {
    const Window window = newWindow();
    EXPECT_EQ(makeCurrent(display_, window, context), True);
    EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
    return window;
  }
  void destroy(GLXContext context) { destroyContext_(display_, context); }
  void destroy(Window window) {
    XDestroyWindow(display_, window);
    XSync(display_, False);
  }
  GLXPbuffer newPbuffer() {
    const int attributes[] = {GLX_PBUFFER_WIDTH, 20, GLX_PBUFFER_HEIGHT, 10, 0};
    return GL_OF(host(), glXCreatePbuffer)(display_, configs_.doubled, attributes);
  }
  // The rest of a thread's life with one context.
  void oneContextOnAnotherThread() {
    std::thread([&] { destroy(newContext()); }).join();
  }

  std::string closed() const {
    return "I void _unsetLocalDisplay(Display*): closed local display <ptr> mapped to " +
           address(display_);
  }
  // Whether this thread has closed the local display since the last time.
  bool isClosed() { return hasLine(logged(), closed()); }

  // What is kept of the configurations when their display is closed.
  const Lines kQueries_ = {"glXGetFBConfigs", "glXGetFBConfigAttrib"};

  Display* display_ = nullptr;
  decltype(&::glXDestroyContext) destroyContext_ = nullptr;
};

TEST_F(LocalDisplay, StaysOpenByDefault) {
  open();
  oneContextOnAnotherThread();
  const Lines lines = loggedByOthers();
  EXPECT_FALSE(hasLine(lines, closed()));
  EXPECT_LINES(Lines(lines.end() - 2, lines.end()),
               {debugLine("virtual zol::gl::TSD::~TSD()", "START"),
                debugLine("virtual zol::gl::TSD::~TSD()", "Closing appdpy2")});
}

class UnsetLocalDisplay : public LocalDisplay {
protected:
  void SetUp() override { set("ZOL_GL_UNSET_LOCAL_DISPLAY", "1"); }
};

TEST_F(UnsetLocalDisplay, ClosesItWithTheLastContext) {
  open();
  const GLXContext first = newContext();
  const GLXContext second = newContext();
  forget();
  destroy(first);
  EXPECT_FALSE(isClosed());
  const int closings = outside::calls("XCloseDisplay");
  recorder().setHook("glXDestroyContext",
                     [&] { EXPECT_EQ(outside::calls("XCloseDisplay"), closings); });
  destroy(second);
  EXPECT_LINES(Lines{logged().back()}, {closed()});
  EXPECT_EQ(outside::calls("XCloseDisplay"), closings + 1);
}

TEST_F(UnsetLocalDisplay, ClosesItWithTheLastThreadThatUsedIt) {
  open();
  std::thread([&] { newPbuffer(); }).join();
  const Lines lines = loggedByOthers();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_LINES(Lines(lines.end() - 3, lines.end()),
               {debugLine("virtual zol::gl::TSD::~TSD()", "START"), closed(),
                debugLine("virtual zol::gl::TSD::~TSD()", "Closing appdpy2")});
}

// The window is noticed to be gone while the context is on its way out: the driver still needs the
// connection for the context.
TEST_F(UnsetLocalDisplay, ClosesItOnlyAfterTheContextThatWentWithTheLastWindow) {
  open();
  const GLXContext context = newContext();
  const Window window = leftWindow(context);
  destroy(window);
  forget();
  const int closings = outside::calls("XCloseDisplay");
  recorder().setHook("glXDestroyContext",
                     [&] { EXPECT_EQ(outside::calls("XCloseDisplay"), closings); });
  destroy(context);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, debugLine(kClearDeletedLabel, "deleting 0x" + hex(window))));
  EXPECT_LINES(Lines{lines.back()}, {closed()});
  EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                          [](const std::string& line) {
                            return line.find("opened local display") != std::string::npos;
                          }),
            0);
  EXPECT_EQ(driverCalls(kQueries_).back(), "glXDestroyContext(local, ctx1)");
}

TEST_F(UnsetLocalDisplay, ClosesItWhenADestroyedContextIsNoLongerCurrent) {
  open();
  const GLXContext context = newContext();
  const GLXPbuffer pbuffer = newPbuffer();
  ASSERT_EQ(makeCurrent(display_, pbuffer, context), True);
  destroy(context);
  EXPECT_FALSE(isClosed());
  forget();
  EXPECT_EQ(makeCurrent(display_, None, nullptr), True);
  EXPECT_LINES(driverCalls(kQueries_), {"glXMakeCurrent(local, 0, NULL)"});
  EXPECT_LINES(Lines{logged().back()}, {closed()});
}

TEST_F(UnsetLocalDisplay, KeepsItWhileAContextUsesIt) {
  open();
  std::thread([&] { newContext(); }).join();
  EXPECT_FALSE(hasLine(loggedByOthers(), closed()));
}

TEST_F(UnsetLocalDisplay, KeepsItWhileAWindowIsListed) {
  open();
  const GLXContext context = newContext();
  const Window window = leftWindow(context);
  destroy(context);
  EXPECT_FALSE(isClosed());

  // It is the last one; that it is gone is noticed when a context ends.
  destroy(window);
  destroy(newContext());
  EXPECT_TRUE(isClosed());
}

// They end with the connection that they were made on, so there is nothing to destroy afterwards,
// and their ids may mean something else by then.
TEST_F(UnsetLocalDisplay, DoesNotKeepItForPixmapsAndPbuffers) {
  open();
  const GLXContext context = newContext();
  const GLXPbuffer pbuffer = newPbuffer();
  const Pixmap pixmap = XCreatePixmap(display_, DefaultRootWindow(display_), 20, 10, 24);
  const GLXPixmap glxPixmap =
      GL_OF(host(), glXCreatePixmap)(display_, configs_.doubled, pixmap, nullptr);
  destroy(context);
  EXPECT_TRUE(isClosed());
  forget();
  GL_OF(host(), glXDestroyPbuffer)(display_, pbuffer);
  GL_OF(host(), glXDestroyPixmap)(display_, glxPixmap);
  const Lines calls = driverCalls();
  EXPECT_FALSE(hasLine(calls, "glXDestroyPbuffer(<any>"));
  EXPECT_FALSE(hasLine(calls, "glXDestroyPixmap(<any>"));
}

// The thread has gone on to another connection: nothing but the pbuffer was left on this one.
TEST_F(UnsetLocalDisplay, ClosesItWithoutMemory) {
  open();
  const GLXPbuffer pbuffer = newPbuffer();
  Display* const other = openDisplay();
  const auto destroyPbuffer = GL_OF(host(), glXDestroyPbuffer);
  GL_OF(host(), glXQueryExtension)(other, &answer[0], &answer[1]);
  forget();
  {
    const NoMemory none;
    destroyPbuffer(other, pbuffer);
  }
  EXPECT_TRUE(isClosed());
}

// They are noticed to be gone in one call, on a third connection.
TEST_F(UnsetLocalDisplay, WindowsOfSeveralConnectionsEndWithoutMemory) {
  open();
  std::vector<Window> windows;
  for (int i = 0; i < 2; ++i) {
    windows.push_back(leftWindow(newContext()));
    display_ = openDisplay();
  }
  const GLXContext context = newContext();
  for (const Window window : windows)
    destroy(window);
  forget();
  std::optional<NoMemory> none;
  recorder().setHook("glXDestroyPbuffer", [&] { none.emplace(); });
  destroy(context);
  none.reset();
  const Lines calls = driverCalls();
  EXPECT_EQ(std::count_if(calls.begin(), calls.end(),
                          [](const std::string& call) { return call.starts_with("glXDestroyPb"); }),
            4) // each had a second one
      << testing::PrintToString(calls);
}

// What the driver needs an X window for finds one on the next connection.
TEST_F(UnsetLocalDisplay, PixmapsCanBeMadeOnTheNextOne) {
  open();
  const auto create = GL_OF(host(), glXCreatePixmap);
  const Pixmap pixmap = XCreatePixmap(display_, DefaultRootWindow(display_), 20, 10, 24);
  const GLXContext context = newContext();
  EXPECT_NE(create(display_, configs_.doubled, pixmap, nullptr), None);
  destroy(context);
  EXPECT_TRUE(isClosed());
  countXErrors();
  const GLXPixmap second = create(display_, configs_.doubled, pixmap, nullptr);
  EXPECT_NE(second, None);
  GL_OF(host(), glXDestroyPixmap)(display_, second); // closes it and hears of all errors
  EXPECT_TRUE(isClosed());
  EXPECT_EQ(xErrors(), 0);
}

// The end of the last window would close what the pixmap has just been made on.
TEST_F(UnsetLocalDisplay, KeepsItForThePixmapThatIsMadeWhileTheLastWindowEnds) {
  open();
  const GLXContext context = newContext();
  const Window window = leftWindow(context);
  destroy(context);
  destroy(window);
  forget();
  const Pixmap pixmap = XCreatePixmap(display_, DefaultRootWindow(display_), 8, 8, 24);
  GL_OF(host(), glXCreatePixmap)(display_, configs_.doubled, pixmap, nullptr);
  EXPECT_TRUE(
      matchesLine("glXCreatePixmap(local, fb1, 0x<hex>, NULL) = glxpixmap1", driverCalls().back()));
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, debugLine(kClearDeletedLabel, "deleting 0x" + hex(window))));
  EXPECT_FALSE(hasLine(lines, closed()));
}

// Another local display serves the process from then on, where the driver may know the same
// configurations by other handles.
TEST_F(UnsetLocalDisplay, ContextsAreMadeOnTheNextOne) {
  open();
  oneContextOnAnotherThread();
  EXPECT_TRUE(hasLine(loggedByOthers(), closed()));
  forget();
  Display* const next = openDisplay();
  ASSERT_NE(createContext(next, visuals_.alpha), nullptr);
  EXPECT_EQ(driverCalls().back(), "glXCreateNewContext(local, fb3, GLX_RGBA_TYPE, NULL, 1) = ctx2");
  // Its own handles lead back to the visuals that were mapped on the first one.
  const int wanted[] = {GLX_DOUBLEBUFFER, False, None};
  int count = 0;
  recorder().setChosenConfigs({configs_.single});
  GLXFBConfig* const found =
      GL_OF(host(), glXChooseFBConfig)(next, DefaultScreen(next), wanted, &count);
  ASSERT_EQ(count, 1);
  EXPECT_EQ(found[0], configs_.single);
  EXPECT_NE(GL_OF(host(), glXCreateNewContext)(next, found[0], GLX_RGBA_TYPE, nullptr, True),
            nullptr);
  XFree(found);
}

// The context belongs to one connection of the program and is used with windows of another one.
TEST_F(UnsetLocalDisplay, KeepsItForTheWindowThatTakesTheLastOnesPlace) {
  open();
  const GLXContext context = newContext();
  display_ = openDisplay();
  const Window first = leftWindow(context);
  destroy(first);
  const Window second = newWindow();
  forget();
  EXPECT_EQ(makeCurrent(display_, second, context), True);
  const Lines lines = logged();
  EXPECT_TRUE(hasLine(lines, debugLine(kClearDeletedLabel, "deleting 0x" + hex(first))));
  EXPECT_FALSE(hasLine(lines, closed()));
}

// Calls that are under way ----------------------------------------------------------------------

// A thread that has done something on a display and lives on until it is told to leave.
class LastUser {
public:
  explicit LastUser(const std::function<void()>& work)
      : thread_([this, work] {
          work();
          id_ = gettid();
          while (!leaves_)
            std::this_thread::yield();
        }) {
    while (id_ == 0)
      std::this_thread::yield();
  }
  LastUser(const LastUser&) = delete;
  LastUser& operator=(const LastUser&) = delete;
  ~LastUser() {
    leaves_ = true;
    thread_.join();
  }

  // False when it has to wait for a lock on its way.
  bool leave() {
    leaves_ = true;
    EXPECT_TRUE(eventually([&] { return hasEnded() || waitsForLock(id_); }));
    return hasEnded();
  }

private:
  bool hasEnded() const {
    return !std::filesystem::exists("/proc/self/task/" + std::to_string(id_));
  }

  std::atomic<pid_t> id_{0};
  std::atomic<bool> leaves_{false};
  std::thread thread_;
};

struct Asked {
  Display* display;
  GLXFBConfig config;
  GLXContext context; // of another connection
  GLXPbuffer pbuffer;
};

// A call that looks the local display up and asks the driver there.
struct Question {
  const char* name;
  const char* driverCall;
  void (*ask)(const VendorHost& host, const Asked& asked);
};

void PrintTo(const Question& question, std::ostream* stream) {
  *stream << question.name;
}

unsigned int drawableAnswer;

constexpr int kNoList[] = {None};

const Question kQuestions[] = {
    {"glXQueryExtension", "glXQueryExtension(local, &, &)",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXQueryExtension)(asked.display, &answer[0], &answer[1]);
     }},
    {"glXQueryVersion", "glXQueryVersion(local, &, &)",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXQueryVersion)(asked.display, &answer[0], &answer[1]);
     }},
    {"glXQueryServerString", "glXQueryServerString(local, 0, 2)",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXQueryServerString)(asked.display, 0, GLX_VERSION);
     }},
    {"glXGetClientString", "glXGetClientString(local, 2)",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXGetClientString)(asked.display, GLX_VERSION);
     }},
    {"glXQueryExtensionsString", "glXQueryExtensionsString(local, 0)<any>",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXQueryExtensionsString)(asked.display, 0);
     }},
    {"glXGetFBConfigs", "glXChooseFBConfig(local, 0, NULL, &)<any>",
     [](const VendorHost& host, const Asked& asked) {
       XFree(GL_OF(host, glXGetFBConfigs)(asked.display, 0, &answer[0]));
     }},
    {"glXGetFBConfigAttrib", "glXGetFBConfigAttrib(local, fb1, 12, &)<any>",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXGetFBConfigAttrib)(asked.display, asked.config, GLX_DEPTH_SIZE, &answer[0]);
     }},
    {"glXGetVisualFromFBConfig", "glXGetFBConfigAttrib(local, fb1, GLX_VISUAL_ID, &)<any>",
     [](const VendorHost& host, const Asked& asked) {
       XFree(GL_OF(host, glXGetVisualFromFBConfig)(asked.display, asked.config));
     }},
    {"glXIsDirect", "glXIsDirect(local, ctx1)<any>",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXIsDirect)(asked.display, asked.context);
     }},
    {"glXQueryContext", "glXQueryContext(local, ctx1, <any>, &)<any>",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXQueryContext)(asked.display, asked.context, GLX_RENDER_TYPE, &answer[0]);
     }},
    {"glXQueryDrawable", "glXQueryDrawable(local, <any>, GLX_WIDTH, &)<any>",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXQueryDrawable)(asked.display, asked.pbuffer, GLX_WIDTH, &drawableAnswer);
     }},
    {"glXQueryGLXPbufferSGIX", "glXQueryGLXPbufferSGIX(local, pbuffer1, <any>, &)<any>",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXQueryGLXPbufferSGIX)
       (asked.display, asked.pbuffer, GLX_WIDTH, &drawableAnswer);
     }},
    {"glXBindTexImageEXT", "glXBindTexImageEXT(local, 0, 8414, {0})",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXBindTexImageEXT)(asked.display, None, GLX_FRONT_LEFT_EXT, kNoList);
     }},
    {"glXSwapBuffers", "glXSwapBuffers(local, <any>)",
     [](const VendorHost& host, const Asked& asked) {
       GL_OF(host, glXSwapBuffers)(asked.display, asked.pbuffer);
     }},
};

class QuestionOnIt : public UnsetLocalDisplay, public testing::WithParamInterface<Question> {};

// The question has its display but not yet its turn at the driver when the last thread that used
// the display ends.
TEST_P(QuestionOnIt, KeepsItOpenUntilTheAnswer) {
  open();
  Display* const other = openDisplay();
  Asked asked{display_, configs_.doubled, createContext(other, visuals_.doubled), None};
  LastUser user([&] { asked.pbuffer = newPbuffer(); });
  forget();

  std::atomic<pid_t> asker{0};
  std::thread question;
  recorder().setHook("glXIsDirect", [&] { // the driver's lock is held
    recorder().setHook("glXIsDirect", nullptr);
    question = std::thread([&] {
      asker = gettid();
      GetParam().ask(host(), asked);
    });
    EXPECT_TRUE(eventually([&] { return asker != 0 && waitsForLock(asker); }));
    EXPECT_TRUE(user.leave()) << "it closes the display";
  });
  GL_OF(host(), glXIsDirect)(other, asked.context);
  question.join();
  EXPECT_TRUE(hasLine(loggedByOthers(), closed()));
  const Lines calls = driverCallsOfOthers();
  EXPECT_TRUE(hasLine(calls, GetParam().driverCall)) << testing::PrintToString(calls);
}

INSTANTIATE_TEST_SUITE_P(, QuestionOnIt, testing::ValuesIn(kQuestions),
                         [](const auto& test) { return test.param.name; });

// What only the thread still had ends with it: the record of a window of another connection, which
// takes the thread's own local display to find out what is current.
TEST_F(UnsetLocalDisplay, StaysOpenForTheThreadThatEnds) {
  open();
  Display* const other = openDisplay();
  const GLXContext context = createContext(other, visuals_.doubled);
  const GLXContext spare = createContext(other, visuals_.doubled);
  const Window window = createWindow(other, visuals_.doubled, 64, 48);
  LastUser user([&] { newPbuffer(); });
  LastUser leaving([&] {
    EXPECT_EQ(makeCurrent(other, window, context), True);
    EXPECT_EQ(GL_OF(host(), glXIsDirect)(display_, context), True);
  });
  XDestroyWindow(other, window);
  XSync(other, False);
  GL_OF(host(), glXDestroyContext)(other, spare); // it is noticed then that the window is gone
  forget();
  recorder().setHook("glXIsDirect", [&] { // the driver's lock is held
    EXPECT_FALSE(leaving.leave());
    EXPECT_TRUE(user.leave()) << "it closes the display";
  });
  GL_OF(host(), glXIsDirect)(other, context);
  EXPECT_TRUE(leaving.leave());
  EXPECT_TRUE(hasLine(loggedByOthers(), closed()));
}

// Whether the display is still used is asked of the windows' list too, which has to be waited for
// while a window is painted. What is made on the display meanwhile counts.
class LookedAt : public UnsetLocalDisplay {
protected:
  // The last thread that used the display ends; what it finds out takes until the work is done or
  // waits itself.
  void lookDuring(const std::function<void()>& work) {
    open();
    Display* const other = openDisplay();
    const Window window = createWindow(other, visuals_.doubled, 64, 48);
    ASSERT_EQ(makeCurrent(other, window, createContext(other, visuals_.doubled)), True);
    std::optional<LastUser> user(std::in_place, [&] { newPbuffer(); });
    outside::setHook("XShmPutImage", [this] {
      paints_ = true;
      while (!isDone_)
        std::this_thread::yield();
    });
    swap(other, window);
    EXPECT_TRUE(eventually(outside::deliveryIsHeld));
    outside::letOneDeliveryPass();
    EXPECT_TRUE(eventually([&] { return paints_.load(); }));
    forget();
    EXPECT_FALSE(user->leave());
    std::thread painting([&, worker = gettid()] {
      EXPECT_TRUE(eventually([&] { return isDone_ || waitsForLock(worker); }));
      isDone_ = true;
    });
    work();
    isDone_ = true;
    painting.join();
    user.reset();
  }

private:
  std::atomic<bool> paints_{false};
  std::atomic<bool> isDone_{false};
};

TEST_F(LookedAt, StaysOpenForTheContextThatIsMadeOnIt) {
  GLXContext context = nullptr;
  lookDuring([&] { context = newContext(); });
  EXPECT_FALSE(hasLine(loggedByOthers(), closed()));
  EXPECT_FALSE(isClosed());
  destroy(context);
  EXPECT_TRUE(isClosed());
}

TEST_F(LookedAt, IsClosedAfterTheQuestionThatIsAskedOnIt) {
  lookDuring([&] { GL_OF(host(), glXQueryExtension)(display_, &answer[0], &answer[1]); });
  EXPECT_FALSE(hasLine(loggedByOthers(), closed()));
  EXPECT_TRUE(isClosed());
}

// The map's configurations are asked about on the connection that it was built on, whichever the
// question is for.
class VisualOfAStranger : public OddConfigsRig {
protected:
  void SetUp() override { set("ZOL_GL_UNSET_LOCAL_DISPLAY", "1"); }
};

TEST_F(VisualOfAStranger, KeepsTheMapsDisplayOpenUntilTheAnswer) {
  prepare();
  LastUser user([&] {
    const int none[] = {None};
    GL_OF(host(), glXCreatePbuffer)(display_, configs_.doubled, none);
  });
  Display* const other = openDisplay();
  const auto ask = GL_OF(host(), glXGetFBConfigAttrib);
  int depth = 0;
  ask(other, stranger_, GLX_DEPTH_SIZE, &depth);
  const int closings = outside::calls("XCloseDisplay");
  forget();
  int questions = 0;
  recorder().setHook("glXGetFBConfigAttrib", [&] {
    if (++questions != 3) return; // after the two on its own local display
    EXPECT_TRUE(user.leave());
    EXPECT_EQ(outside::calls("XCloseDisplay"), closings + 1) << "the thread's own and no more";
  });
  int visual = 0;
  ask(other, stranger_, GLX_VISUAL_ID, &visual);
  EXPECT_GT(questions, 3);
  EXPECT_EQ(outside::calls("XCloseDisplay"), closings + 2);
  EXPECT_EQ(static_cast<VisualID>(visual), strangerVisual_);
}

} // namespace
