// A connection to this machine on which anything can be sent.
#pragma once

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <stdexcept>
#include <string>

namespace kalvetra::test {

class RawConnection {
 public:
  explicit RawConnection(int port) : socket_(::socket(AF_INET, SOCK_STREAM, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    if (::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address) != 0) {
      throw std::runtime_error("no connection");
    }
  }
  ~RawConnection() { ::close(socket_); }
  RawConnection(const RawConnection&) = delete;
  RawConnection& operator=(const RawConnection&) = delete;

  // False once the other side has gone, or takes nothing for ten seconds.
  bool send(const std::string& bytes) const {
    for (std::size_t sent = 0; sent < bytes.size();) {
      if (!wait(POLLOUT, 10000)) return false;
      const ssize_t count = ::send(socket_, bytes.data() + sent, bytes.size() - sent, MSG_NOSIGNAL | MSG_DONTWAIT);
      if (count < 0 && errno != EAGAIN) return false;
      sent += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return true;
  }
  // So many bytes, or fewer where no more come within ten seconds.
  std::string receive(std::size_t most) const {
    std::string got;
    for (char c = 0; got.size() < most && wait(POLLIN, 10000) && ::recv(socket_, &c, 1, 0) == 1;) got += c;
    return got;
  }
  // All that comes until it ends so, or until nothing more comes within ten seconds.
  std::string receiveTo(const std::string& end) const {
    std::string got;
    while (!got.ends_with(end)) {
      const std::string next = receive(1);
      if (next.empty()) break;
      got += next;
    }
    return got;
  }
  // Nothing has come, nor has the other side gone.
  bool isSilent() const {
    char any;
    return ::recv(socket_, &any, 1, MSG_PEEK | MSG_DONTWAIT) < 0 && (errno == EAGAIN || errno == EWOULDBLOCK);
  }
  bool isClosedWithin(std::chrono::milliseconds time) const {
    const auto end = std::chrono::steady_clock::now() + time;
    for (char bytes[4096]; std::chrono::steady_clock::now() < end;) {
      if (wait(POLLIN, 100) && ::recv(socket_, bytes, sizeof bytes, 0) <= 0) return true;
    }
    return false;
  }

 private:
  bool wait(short events, int milliseconds) const {
    pollfd state{socket_, events, 0};
    return ::poll(&state, 1, milliseconds) > 0;
  }

  int socket_;
};

}  // namespace kalvetra::test
