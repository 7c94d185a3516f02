#include "preview/connection.h"

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

namespace kalvetra {

namespace {

using std::chrono::milliseconds;

constexpr milliseconds kHeadTime{3000};    // for the whole head, which comes in one piece
constexpr milliseconds kBodyTime{30000};   // for the whole body
constexpr milliseconds kWriteTime{30000};  // without any progress
constexpr milliseconds kStopTime{1000};    // to send, once the server is to end
constexpr milliseconds kLingerTime{1000};
constexpr milliseconds kSlice{50};                          // between looks at whether the server is to end
constexpr std::size_t kMostIgnored = std::size_t{1} << 23;  // bytes that are read and forgotten

bool isOnlyLate() { return errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR; }

}  // namespace

// What is unread when a socket closes makes the system drop the answer that was sent.
Connection::~Connection() {
  ::shutdown(socket_, SHUT_WR);
  const Clock::time_point deadline = Clock::now() + kLingerTime;
  ssize_t got = 1;
  for (std::size_t ignored = 0; got > 0 && ignored < kMostIgnored; ignored += static_cast<std::size_t>(got)) {
    if (!wait(POLLIN, deadline, milliseconds(0))) break;
    got = ::recv(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
  }
  ::close(socket_);
}

// Where the system says neither yes nor no, the time decides.
bool Connection::wait(short events, Clock::time_point deadline, milliseconds afterStop) const {
  for (bool stopping = false;;) {
    if (!stopping && isStopping()) {
      stopping = true;
      deadline = std::min(deadline, Clock::now() + afterStop);
    }
    const auto left = std::chrono::ceil<milliseconds>(deadline - Clock::now());
    pollfd state{socket_, events, 0};
    const int ready = ::poll(&state, 1, static_cast<int>(std::clamp(left, milliseconds(0), kSlice).count()));
    if (ready > 0) return true;
    if ((ready < 0 && errno != EINTR) || left <= milliseconds(0)) return false;
  }
}

bool Connection::awaitHead(milliseconds idle, std::size_t most) {
  if (isStopping() || (next_ == end_ && !wait(POLLIN, Clock::now() + idle, milliseconds(0)))) return false;
  left_ = most;
  inBody_ = false;
  deadline_ = Clock::now() + kHeadTime;
  return next_ < end_ || fill();
}

void Connection::beginBody(std::size_t length) {
  left_ = length;
  inBody_ = true;
  deadline_ = Clock::now() + kBodyTime;
}

bool Connection::is_readable() const { return left_ > 0 && (next_ < end_ || wait(POLLIN, deadline_, milliseconds(0))); }

bool Connection::is_writable() const { return wait(POLLOUT, Clock::now() + kWriteTime, kStopTime); }

bool Connection::fill() {
  while (wait(POLLIN, deadline_, milliseconds(0))) {
    const ssize_t got = ::recv(socket_, buffer_.data(), buffer_.size(), MSG_DONTWAIT);
    if (got < 0 && isOnlyLate()) continue;
    next_ = 0;
    end_ = static_cast<std::size_t>(std::max<ssize_t>(got, 0));
    return got > 0;
  }
  return false;
}

ssize_t Connection::read(char* bytes, std::size_t size) {
  // A byte now and then must not outlast the deadline.
  if (left_ == 0 || isStopping() || Clock::now() > deadline_ || (next_ == end_ && !fill())) return -1;
  const std::size_t count = std::min({size, left_, end_ - next_});
  std::memcpy(bytes, buffer_.data() + next_, count);
  next_ += count;
  left_ -= count;
  return static_cast<ssize_t>(count);
}

ssize_t Connection::write(const char* bytes, std::size_t size) {
  for (std::size_t sent = 0; sent < size;) {
    if (!is_writable()) return -1;
    const ssize_t count = ::send(socket_, bytes + sent, size - sent, MSG_DONTWAIT);
    if (count < 0 && !isOnlyLate()) return -1;
    sent += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
  }
  return static_cast<ssize_t>(size);
}

// Of no interest: all requests come from this machine.
void Connection::get_remote_ip_and_port(std::string& ip, int& port) const {
  ip.clear();
  port = 0;
}

void Connection::get_local_ip_and_port(std::string& ip, int& port) const { get_remote_ip_and_port(ip, port); }

}  // namespace kalvetra
