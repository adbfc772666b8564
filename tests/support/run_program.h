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

// Starts `program` with `args` and returns at once, for a test that signals the child itself:
// standard input is empty, and standard output and error go to the files named (to nothing
// where a name is empty). Returns the child's id, or -1.
int start(const std::string& program, const std::vector<std::string>& args, const std::string& outFile = "",
          const std::string& errFile = "");

// The lines of a text, without their ends; no empty last line.
std::vector<std::string> lines(const std::string& text);

}  // namespace testproc
