// picture: draws known pictures in windows, step by step, as the process that started it says.
//
// Each line of standard input is "THREAD COMMAND WORDS...": thread 0 is the main one, others begin
// with their first line. When the step is complete, "THREAD ok ..." or "THREAD failed REASON"
// appears on standard output. "end-thread" ends a thread other than the main one. The program ends
// at the end of its input.

#include "endtoend/picture/commands.h"

#include <condition_variable>
#include <cstring>
#include <deque>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <thread>

namespace {

using zol::endtoend::Stage;

void answer(int thread, const std::string& text) {
  static std::mutex mutex;
  const std::lock_guard lock(mutex);
  std::cout << thread << ' ' << text << std::endl;
}

void performAndAnswer(Stage& stage, int thread, const std::string& line) {
  try {
    answer(thread, zol::endtoend::perform(stage, line));
  } catch (const std::exception& failure) {
    answer(thread, std::string("failed ") + failure.what());
  }
}

// A thread of the program and the lines it has still to do.
class Worker {
public:
  Worker(Stage& stage, int number) : thread_([this, &stage, number] { run(stage, number); }) {}
  ~Worker() {
    add("");
    thread_.join();
  }
  Worker(const Worker&) = delete;
  Worker& operator=(const Worker&) = delete;

  void add(const std::string& line) {
    {
      const std::lock_guard lock(mutex_);
      lines_.push_back(line);
    }
    more_.notify_one();
  }

private:
  void run(Stage& stage, int number) {
    for (std::string line = take(); !line.empty(); line = take())
      performAndAnswer(stage, number, line);
  }

  std::string take() {
    std::unique_lock lock(mutex_);
    more_.wait(lock, [this] { return !lines_.empty(); });
    std::string line = std::move(lines_.front());
    lines_.pop_front();
    return line;
  }

  std::mutex mutex_;
  std::condition_variable more_;
  std::deque<std::string> lines_;
  std::thread thread_;
};

} // namespace

int main(int argc, char** argv) {
  std::string display;
  if (argc == 3 && std::strcmp(argv[1], "--display") == 0) {
    display = argv[2];
  } else if (argc != 1) {
    std::cerr << "usage: " << argv[0] << " [--display NAME]\n";
    return 2;
  }
  // Lives on while the process ends: threads of it may still run.
  static Stage& stage = *new Stage(display);
  XInitThreads();
  zol::endtoend::countXErrors();
  std::map<int, std::unique_ptr<Worker>> workers;
  int thread = 0;
  for (std::string line; std::cin >> thread && std::getline(std::cin >> std::ws, line);) {
    if (thread == 0) {
      performAndAnswer(stage, thread, line);
      continue;
    }
    if (line == "end-thread") {
      workers.erase(thread);
      answer(thread, "ok");
      continue;
    }
    std::unique_ptr<Worker>& worker = workers[thread];
    if (worker == nullptr) worker = std::make_unique<Worker>(stage, thread);
    worker->add(line);
  }
  return 0;
}
