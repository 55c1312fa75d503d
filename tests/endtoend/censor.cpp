#include "endtoend/censor.h"

#include <array>
#include <cstring>
#include <fcntl.h>
#include <list>
#include <poll.h>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace zol::endtoend {
namespace {

using tools::UniqueFd;

constexpr int kFirstNumber = 600;
constexpr int kLastNumber = 999;

std::string socketOf(const std::string& display) {
  return "/tmp/.X11-unix/X" + display.substr(1);
}

sockaddr_un addressOf(const std::string& path) {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  std::strncpy(address.sun_path, path.c_str(), sizeof address.sun_path - 1);
  return address;
}

UniqueFd newSocket() {
  UniqueFd fd(socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
  if (!fd) throw std::runtime_error("no socket");
  return fd;
}

bool sendAll(int fd, const char* data, std::size_t size) {
  while (size > 0) {
    const ssize_t sent = send(fd, data, size, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    data += sent;
    size -= static_cast<std::size_t>(sent);
  }
  return true;
}

struct Connection {
  UniqueFd client;
  UniqueFd server;
};

// What was said; nothing when the side has ended.
std::string hear(int from) {
  std::array<char, 1 << 16> buffer;
  const ssize_t size = recv(from, buffer.data(), buffer.size(), 0);
  return {buffer.data(), size > 0 ? static_cast<std::size_t>(size) : 0};
}

// Hands it to the other side; false when one of them has ended.
bool handOn(std::string text, int to, const std::string& word = "") {
  if (text.empty()) return false;
  // An answer as short as this arrives in one piece.
  for (std::size_t at; !word.empty() && (at = text.find(word)) != std::string::npos;)
    text.replace(at, word.size(), word.size(), 'x');
  return sendAll(to, text.data(), text.size());
}

} // namespace

Censor::Censor(const std::string& server, const std::string& word, LastWord lastWord)
    : server_(socketOf(server)), word_(word), lastWord_(std::move(lastWord)),
      listener_(newSocket()) {
  for (int number = kFirstNumber; socket_.empty() && number <= kLastNumber; ++number) {
    const std::string name = ":" + std::to_string(number);
    const sockaddr_un address = addressOf(socketOf(name));
    if (bind(listener_.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      continue;
    }
    name_ = name;
    socket_ = socketOf(name);
  }
  int ends[2];
  if (socket_.empty() || listen(listener_.get(), 8) != 0 || pipe2(ends, O_CLOEXEC) != 0) {
    throw std::runtime_error("no socket for the display of the test");
  }
  stopReader_ = UniqueFd(ends[0]);
  stopWriter_ = UniqueFd(ends[1]);
  thread_ = std::thread([this] { serve(); });
}

Censor::~Censor() {
  stopWriter_.reset();
  thread_.join();
  unlink(socket_.c_str());
}

bool Censor::isLast(const std::string& said) {
  return !lastWord_.word.empty() && said.find(lastWord_.word) != std::string::npos &&
         --lastWord_.time == 0;
}

void Censor::serve() {
  std::list<Connection> connections;
  for (;;) {
    std::vector<pollfd> wanted = {{stopReader_.get(), POLLIN, 0}, {listener_.get(), POLLIN, 0}};
    for (const Connection& connection : connections) {
      wanted.push_back({connection.client.get(), POLLIN, 0});
      wanted.push_back({connection.server.get(), POLLIN, 0});
    }
    if (poll(wanted.data(), wanted.size(), -1) < 0) continue;
    if (wanted[0].revents != 0) return;
    std::size_t index = 2;
    for (auto at = connections.begin(); at != connections.end(); index += 2) {
      const std::string said = wanted[index].revents != 0 ? hear(at->client.get()) : "";
      const bool alive =
          (wanted[index].revents == 0 || (!isLast(said) && handOn(said, at->server.get()))) &&
          (wanted[index + 1].revents == 0 ||
           handOn(hear(at->server.get()), at->client.get(), word_));
      at = alive ? std::next(at) : connections.erase(at);
    }
    if (wanted[1].revents != 0) {
      Connection fresh{UniqueFd(accept4(listener_.get(), nullptr, nullptr, SOCK_CLOEXEC)),
                       newSocket()};
      const sockaddr_un address = addressOf(server_);
      if (fresh.client && connect(fresh.server.get(), reinterpret_cast<const sockaddr*>(&address),
                                  sizeof address) == 0) {
        connections.push_back(std::move(fresh));
      }
    }
  }
}

} // namespace zol::endtoend
