#pragma once
// Runs a program as a child process and collects what it wrote and how it ended.
#include <string>
#include <vector>

namespace testproc {

struct Outcome {
  int exitCode = -1;  // -1 when the child did not exit normally
  int signal = 0;
  std::string out;
  std::string err;
};

// Runs `program` with `args` and an empty standard input; gives up after `timeoutSeconds`
// (the child is killed and the outcome has signal SIGKILL).
Outcome run(const std::string& program, const std::vector<std::string>& args, int timeoutSeconds = 60);

// The lines of a text, without their ends; no empty last line.
std::vector<std::string> lines(const std::string& text);

}  // namespace testproc
