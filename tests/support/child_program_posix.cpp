#include <array>
#include <csignal>
#include <fcntl.h>
#include <poll.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>
#include <utility>

#include "support/child_program.h"

namespace hq::test {

namespace {

using std::chrono::steady_clock;

void Close(std::intptr_t& descriptor) {
  if (descriptor >= 0) close(static_cast<int>(std::exchange(descriptor, -1)));
}

}  // namespace

ChildProgram::ChildProgram(const std::vector<std::string>& command, void (*prepare)()) {
  std::array<int, 2> out{};
  std::array<int, 2> err{};
  if (pipe2(out.data(), O_CLOEXEC) != 0 || pipe2(err.data(), O_CLOEXEC) != 0)
    throw std::runtime_error("no pipe");
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  process_ = fork();
  if (process_ == 0) {
    const int nothing = open("/dev/null", O_RDONLY);
    dup2(nothing, STDIN_FILENO);
    dup2(out[1], STDOUT_FILENO);
    dup2(err[1], STDERR_FILENO);
    if (prepare != nullptr) prepare();
    execv(arguments[0], arguments.data());
    _exit(127);
  }
  close(out[1]);
  close(err[1]);
  out_pipe_ = out[0];
  err_pipe_ = err[0];
  if (process_ < 0) throw std::runtime_error("no process");
}

ChildProgram::~ChildProgram() {
  if (process_ > 0) {
    kill(static_cast<pid_t>(process_), SIGKILL);
    waitpid(static_cast<pid_t>(process_), nullptr, 0);
  }
  Close(out_pipe_);
  Close(err_pipe_);
}

bool ChildProgram::Wait_For_Output(const std::string& text, std::chrono::seconds deadline) {
  return Wait_For(out_, text, deadline);
}

bool ChildProgram::Wait_For_Error(const std::string& text, std::chrono::seconds deadline) {
  return Wait_For(err_, text, deadline);
}

bool ChildProgram::Wait_For(const std::string& stream, const std::string& text,
                            std::chrono::seconds deadline) {
  const auto end = steady_clock::now() + deadline;
  while (stream.find(text) == std::string::npos) {
    if (steady_clock::now() > end || !Read_Some(std::chrono::milliseconds(100))) break;
  }
  return stream.find(text) != std::string::npos;
}

void ChildProgram::Signal(int number) const {
  kill(static_cast<pid_t>(process_), number);
}

int ChildProgram::Wait(std::chrono::seconds deadline) {
  const auto end = steady_clock::now() + deadline;
  while (Read_Some(std::chrono::milliseconds(100))) {
    if (steady_clock::now() > end) return -1000;
  }
  int status = 0;
  waitpid(static_cast<pid_t>(process_), &status, 0);
  process_ = -1;
  return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
}

bool ChildProgram::Read_Some(std::chrono::milliseconds time) {
  std::array<pollfd, 2> pipes = {pollfd{static_cast<int>(out_pipe_), POLLIN, 0},
                                 pollfd{static_cast<int>(err_pipe_), POLLIN, 0}};
  poll(pipes.data(), pipes.size(), static_cast<int>(time.count()));
  const auto read_one = [](const pollfd& pipe, std::intptr_t& descriptor, std::string& text) {
    if (descriptor < 0 || pipe.revents == 0) return;
    std::array<char, 4096> bytes{};
    const ssize_t got = read(pipe.fd, bytes.data(), bytes.size());
    if (got > 0) text.append(bytes.data(), static_cast<size_t>(got));
    if (got == 0) Close(descriptor);
  };
  read_one(pipes[0], out_pipe_, out_);
  read_one(pipes[1], err_pipe_, err_);
  return out_pipe_ >= 0 || err_pipe_ >= 0;
}

}  // namespace hq::test
