#include <algorithm>
#include <array>
#include <csignal>
#include <stdexcept>
#include <utility>
#include <windows.h>

#include "support/child_program.h"

namespace hq::test {

namespace {

using std::chrono::steady_clock;

BOOL WINAPI Take_No_Notice(DWORD) {
  return TRUE;
}

HANDLE Handle_Of(std::intptr_t value) {
  return reinterpret_cast<HANDLE>(value);
}

void Close(std::intptr_t& handle) {
  if (handle != -1) CloseHandle(Handle_Of(std::exchange(handle, -1)));
}

// The argument as a program's start takes it out of the command line again.
std::string Quoted(const std::string& argument) {
  std::string quoted = "\"";
  size_t backslashes = 0;
  for (const char character : argument) {
    if (character == '"') quoted.append(backslashes + 1, '\\');
    quoted += character;
    backslashes = character == '\\' ? backslashes + 1 : 0;
  }
  return quoted.append(backslashes, '\\') + "\"";
}

struct Pipe {
  HANDLE Ours = nullptr;
  HANDLE Childs = nullptr;
};

Pipe New_Pipe() {
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  Pipe pipe;
  if (CreatePipe(&pipe.Ours, &pipe.Childs, &inherited, 0) == 0) throw std::runtime_error("no pipe");
  SetHandleInformation(pipe.Ours, HANDLE_FLAG_INHERIT, 0);
  return pipe;
}

// What is in the pipe now, without the returns of the lines' ends. False when the pipe has ended.
bool Read_One(std::intptr_t& pipe, std::string& text) {
  DWORD there = 0;
  if (pipe == -1) return false;
  if (PeekNamedPipe(Handle_Of(pipe), nullptr, 0, nullptr, &there, nullptr) == 0) {
    Close(pipe);
    return false;
  }
  while (there > 0) {
    std::array<char, 4096> bytes{};
    DWORD got = 0;
    const DWORD most = std::min(there, static_cast<DWORD>(bytes.size()));
    if (ReadFile(Handle_Of(pipe), bytes.data(), most, &got, nullptr) == 0 || got == 0) break;
    text.append(bytes.data(), got);
    there -= got;
  }
  for (size_t at = text.find("\r\n"); at != std::string::npos; at = text.find("\r\n", at)) text.erase(at, 1);
  return true;
}

}  // namespace

ChildProgram::ChildProgram(const std::vector<std::string>& command, void (*prepare)()) {
  if (prepare != nullptr) throw std::logic_error("no preparation without a fork");
  const Pipe out = New_Pipe();
  const Pipe err = New_Pipe();
  SECURITY_ATTRIBUTES inherited{sizeof(SECURITY_ATTRIBUTES), nullptr, TRUE};
  const HANDLE nothing =
      CreateFileA("NUL", GENERIC_READ, FILE_SHARE_READ, &inherited, OPEN_EXISTING, 0, nullptr);
  STARTUPINFOA start{};
  start.cb = sizeof start;
  start.dwFlags = STARTF_USESTDHANDLES;
  start.hStdInput = nothing;
  start.hStdOutput = out.Childs;
  start.hStdError = err.Childs;
  std::string line;
  for (const std::string& argument : command) line += (line.empty() ? "" : " ") + Quoted(argument);
  PROCESS_INFORMATION process{};
  // A console of its own, so that the console's wish to end reaches it and nobody else.
  const BOOL started = CreateProcessA(nullptr, line.data(), nullptr, nullptr, TRUE, CREATE_NO_WINDOW, nullptr,
                                      nullptr, &start, &process);
  for (const HANDLE handle : {nothing, out.Childs, err.Childs}) CloseHandle(handle);
  out_pipe_ = reinterpret_cast<std::intptr_t>(out.Ours);
  err_pipe_ = reinterpret_cast<std::intptr_t>(err.Ours);
  if (started == 0) throw std::runtime_error("no process");
  CloseHandle(process.hThread);
  process_ = reinterpret_cast<std::intptr_t>(process.hProcess);
}

ChildProgram::~ChildProgram() {
  if (process_ != -1) {
    TerminateProcess(Handle_Of(process_), 1);
    WaitForSingleObject(Handle_Of(process_), INFINITE);
  }
  Close(process_);
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
    if (steady_clock::now() > end || !Read_Some(std::chrono::milliseconds(10))) break;
  }
  return stream.find(text) != std::string::npos;
}

void ChildProgram::Signal(int number) const {
  if (number != SIGINT) throw std::logic_error("no signals between processes");
  // Only who shares its console may tell it, and is told too. Wine knows no other wish than this one.
  static const BOOL deaf = SetConsoleCtrlHandler(Take_No_Notice, TRUE);
  FreeConsole();
  const bool told = deaf != 0 && AttachConsole(GetProcessId(Handle_Of(process_))) != 0 &&
                    GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0) != 0;
  const DWORD reason = GetLastError();
  FreeConsole();
  AttachConsole(ATTACH_PARENT_PROCESS);
  if (!told) throw std::runtime_error("no console to interrupt: error " + std::to_string(reason));
}

int ChildProgram::Wait(std::chrono::seconds deadline) {
  const auto end = steady_clock::now() + deadline;
  while (Read_Some(std::chrono::milliseconds(10))) {
    if (steady_clock::now() > end) return -1000;
  }
  WaitForSingleObject(Handle_Of(process_), INFINITE);
  DWORD code = 0;
  GetExitCodeProcess(Handle_Of(process_), &code);
  Close(process_);
  return static_cast<int>(code);
}

bool ChildProgram::Read_Some(std::chrono::milliseconds time) {
  const size_t before = out_.size() + err_.size();
  const bool out_goes_on = Read_One(out_pipe_, out_);
  const bool err_goes_on = Read_One(err_pipe_, err_);
  if (!out_goes_on && !err_goes_on) return false;
  // Pipes of this kind can't be waited for.
  if (out_.size() + err_.size() == before) Sleep(static_cast<DWORD>(time.count()));
  return true;
}

}  // namespace hq::test
