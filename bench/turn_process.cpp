#include "turn_process.h"

#include <array>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <exception>
#include <fcntl.h>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace zol::bench {

namespace {

struct Pipe {
  tools::UniqueFd read;
  tools::UniqueFd write;
};

Pipe makePipe() {
  std::array<int, 2> ends{};
  if (pipe2(ends.data(), O_CLOEXEC) != 0)
    throw std::runtime_error(std::string("cannot make a pipe: ") + strerror(errno));
  return {tools::UniqueFd(ends[0]), tools::UniqueFd(ends[1])};
}

template <class T>
bool receive(const tools::UniqueFd& from, T* value) {
  return read(from.get(), value, sizeof *value) == sizeof *value;
}

template <class T>
bool send(const tools::UniqueFd& to, const T& value) {
  return write(to.get(), &value, sizeof value) == sizeof value;
}

constexpr char kBegin = 'b';
constexpr char kEnd = 'e'; // said aloud: processes made later hold the pipe open, too

int work(const std::function<TurnProcess::Turn()>& prepare, const Pipe& begin, const Pipe& cost) {
  try {
    const TurnProcess::Turn turn = prepare();
    for (char word; receive(begin.read, &word) && word == kBegin;)
      if (!send(cost.write, turn())) break;
    return 0;
  } catch (const std::exception& error) {
    fprintf(stderr, "%s\n", error.what());
    return 1;
  }
}

} // namespace

TurnProcess::TurnProcess(const std::function<Turn()>& prepare) {
  signal(SIGPIPE, SIG_IGN); // who has ended is told apart by takeTurn()
  Pipe begin = makePipe();
  Pipe cost = makePipe();
  pid_ = fork();
  if (pid_ < 0) throw std::runtime_error(std::string("cannot fork: ") + strerror(errno));
  if (pid_ == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    begin.write.reset();
    cost.read.reset();
    _exit(work(prepare, begin, cost));
  }
  begin_ = std::move(begin.write);
  cost_ = std::move(cost.read);
}

TurnProcess::~TurnProcess() {
  send(begin_, kEnd);
  waitpid(pid_, nullptr, 0);
}

Cost TurnProcess::takeTurn() {
  Cost cost;
  if (!send(begin_, kBegin) || !receive(cost_, &cost))
    throw std::runtime_error("a process of the measurement has ended");
  return cost;
}

} // namespace zol::bench
