// Runs shell commands and looks at what they did.
#pragma once

#include <sys/wait.h>

#include <cstdio>
#include <stdexcept>
#include <string>

namespace kalvetra::test {

struct Outcome {
  int status;          // exit status
  std::string output;  // stdout and stderr together
};

inline Outcome run(const std::string& command) {
  std::FILE* pipe = popen(("(" + command + ") 2>&1 </dev/null").c_str(), "r");
  if (pipe == nullptr) throw std::runtime_error("no shell to run " + command);
  Outcome outcome{0, {}};
  char buffer[4096];
  for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) outcome.output.append(buffer, n);
  const int status = pclose(pipe);
  outcome.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  return outcome;
}

// For steps that prepare a test: throws unless they succeed.
inline std::string need(const std::string& command) {
  const Outcome outcome = run(command);
  if (outcome.status != 0) throw std::runtime_error(command + " failed: " + outcome.output);
  return outcome.output;
}

// A run that gets the signal as soon as the shell finds the condition true, unless it has ended before.
inline Outcome signalledOnce(const std::string& condition, const std::string& command, const std::string& signal) {
  return run(command + " & until " + condition + " || ! kill -0 $! 2>/dev/null; do sleep 0.01; done; kill -s " +
             signal + " $! 2>/dev/null; wait $!");
}

// A command whose standard input stalls for good after so many bytes of a file (less than a pipe holds), by way of a
// pipe that is made at `pipe`. Nothing is left running when it ends.
inline std::string stalled(const std::string& command, const std::string& file, int bytes, const std::string& pipe) {
  return "rm -f " + pipe + "; mkfifo " + pipe + "; exec 3<>" + pipe + "; head -c " + std::to_string(bytes) + " " +
         file + " >&3; " + command + " <&3";
}

}  // namespace kalvetra::test
