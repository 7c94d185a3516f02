// `kalvetra preview` in a process of its own.
#pragma once

#include <httplib.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tests/support/command.h"

namespace kalvetra::test {

// The command, running, its first line read. The arguments are a shell's; `temporaryFolder` is where its temporary
// files go, empty for the usual place.
class RunningPreview {
 public:
  explicit RunningPreview(const std::string& arguments, const std::string& temporaryFolder = {}) {
    int ends[2];
    if (pipe(ends) != 0) throw std::runtime_error("no pipe");
    process_ = fork();
    if (process_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      close(ends[0]);
      if (!temporaryFolder.empty()) setenv("TMPDIR", temporaryFolder.c_str(), 1);
      const std::string command = "exec " + kKalvetra + " preview --no-open " + arguments;
      execl("/bin/sh", "sh", "-c", command.c_str(), nullptr);
      _exit(127);
    }
    close(ends[1]);
    for (char c; read(ends[0], &c, 1) == 1 && c != '\n';) address_ += c;
    close(ends[0]);
  }
  ~RunningPreview() {
    if (process_ > 0) end(SIGKILL);
  }
  RunningPreview(const RunningPreview&) = delete;
  RunningPreview& operator=(const RunningPreview&) = delete;

  const std::string& address() const { return address_; }
  // Sends the signal, unless it is 0, and waits. The exit status.
  int end(int signal) {
    if (signal != 0) kill(process_, signal);
    int status = 0;
    waitpid(process_, &status, 0);
    process_ = -1;
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }
  httplib::Client client() const {
    httplib::Client client(address_.substr(0, address_.find('/', 8)));
    client.set_read_timeout(60);
    return client;
  }
  std::string path(const std::string& rest) const { return address_.substr(address_.find('/', 8)) + rest; }

 private:
  pid_t process_ = -1;
  std::string address_;
};

}  // namespace kalvetra::test
