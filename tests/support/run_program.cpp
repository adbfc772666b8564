#include "support/run_program.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <sstream>

extern char** environ;

namespace testproc {

namespace {

std::vector<char*> argumentsOf(const std::string& program, std::vector<std::string>& all,
                               const std::vector<std::string>& args) {
  all = {program};
  all.insert(all.end(), args.begin(), args.end());
  std::vector<char*> argv;
  for (auto& a : all) argv.push_back(a.data());
  argv.push_back(nullptr);
  return argv;
}

}  // namespace

int start(const std::string& program, const std::vector<std::string>& args, const std::string& outFile,
          const std::string& errFile) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  const int writing = O_WRONLY | O_CREAT | O_TRUNC;
  posix_spawn_file_actions_addopen(&actions, 1, outFile.empty() ? "/dev/null" : outFile.c_str(), writing, 0644);
  posix_spawn_file_actions_addopen(&actions, 2, errFile.empty() ? "/dev/null" : errFile.c_str(), writing, 0644);
  std::vector<std::string> all;
  std::vector<char*> argv = argumentsOf(program, all, args);
  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  return spawned == 0 ? pid : -1;
}

Outcome run(const std::string& program, const std::vector<std::string>& args, int timeoutSeconds) {
  Outcome outcome;
  int outPipe[2], errPipe[2];
  if (pipe2(outPipe, O_CLOEXEC) != 0) return outcome;
  if (pipe2(errPipe, O_CLOEXEC) != 0) {
    close(outPipe[0]);
    close(outPipe[1]);
    return outcome;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
  posix_spawn_file_actions_adddup2(&actions, outPipe[1], 1);
  posix_spawn_file_actions_adddup2(&actions, errPipe[1], 2);

  std::vector<std::string> all;
  std::vector<char*> argv = argumentsOf(program, all, args);
  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  close(outPipe[1]);
  close(errPipe[1]);
  if (spawned != 0) {
    close(outPipe[0]);
    close(errPipe[0]);
    outcome.err = "cannot start " + program;
    return outcome;
  }

  const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(timeoutSeconds);
  pollfd fds[2] = {{outPipe[0], POLLIN, 0}, {errPipe[0], POLLIN, 0}};
  std::string* sinks[2] = {&outcome.out, &outcome.err};
  int open = 2;
  bool killed = false;
  while (open > 0) {
    const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - std::chrono::steady_clock::now());
    if (left.count() <= 0) {
      kill(pid, SIGKILL);
      killed = true;
      break;
    }
    if (poll(fds, 2, static_cast<int>(left.count())) < 0) break;
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || !(fds[i].revents & (POLLIN | POLLHUP | POLLERR))) continue;
      char buffer[4096];
      const ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<size_t>(n));
      } else {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open;
      }
    }
  }
  for (auto& fd : fds)
    if (fd.fd >= 0) close(fd.fd);

  int status = 0;
  waitpid(pid, &status, 0);
  if (WIFEXITED(status)) outcome.exitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) outcome.signal = WTERMSIG(status);
  if (killed) outcome.signal = SIGKILL;
  return outcome;
}

std::vector<std::string> lines(const std::string& text) {
  std::vector<std::string> result;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) result.push_back(line);
  return result;
}

}  // namespace testproc
