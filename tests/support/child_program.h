#pragma once

#include <chrono>
#include <cstdint>
#include <string>
#include <vector>

namespace hq::test {

// A program of the build that a test runs and watches. Its standard output and error are read together with
// its end, as text whose lines end in LF.
class ChildProgram {
 public:
  // Starts the program, its standard input empty. prepare runs in the child before the program, and may only
  // call what a forked child may; where programs are not started by a fork there can be none.
  explicit ChildProgram(const std::vector<std::string>& command, void (*prepare)() = nullptr);
  ChildProgram(const ChildProgram&) = delete;
  ChildProgram& operator=(const ChildProgram&) = delete;
  // Kills it if it still runs.
  ~ChildProgram();

  // Reads until standard output holds text or ends; whether it holds it.
  bool Wait_For_Output(const std::string& text, std::chrono::seconds deadline = std::chrono::seconds(30));
  // The same for standard error.
  bool Wait_For_Error(const std::string& text, std::chrono::seconds deadline = std::chrono::seconds(30));

  // Where there are no signals between processes, SIGINT is the console's wish to end, and others are not
  // known.
  void Signal(int number) const;

  // Waits for the end. The exit code, or minus the number of the signal that ended it, or what the system
  // gives as the exit code after a fault; -1000 when the deadline passes.
  int Wait(std::chrono::seconds deadline = std::chrono::seconds(60));

  // What has been read so far; all of it after Wait.
  [[nodiscard]] const std::string& Out() const { return out_; }
  [[nodiscard]] const std::string& Err() const { return err_; }

 private:
  bool Wait_For(const std::string& stream, const std::string& text, std::chrono::seconds deadline);
  // Reads what is there, waiting at most so long. False when both streams have ended.
  bool Read_Some(std::chrono::milliseconds time);

  std::intptr_t process_ = -1;
  std::intptr_t out_pipe_ = -1;
  std::intptr_t err_pipe_ = -1;
  std::string out_;
  std::string err_;
};

}  // namespace hq::test
