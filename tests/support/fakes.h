#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "base/run_time_error.h"
#include "errortrap/message_box.h"
#include "errortrap/message_loop.h"
#include "platform/files.h"
#include "platform/mail.h"
#include "quotes/transfer_control.h"
#include "quotes/transfer_status.h"
#include "run/download_run.h"

// Stand-ins for everything that the engine asks of the world outside. They record what they are told and do
// what a test has set.

namespace hq::test {

class FakeMessageBoxes final : public MessageBoxes {
 public:
  struct Box {
    std::string Text;
    std::string Title;
    MessageButtons Buttons;
    MessageIcon Icon;
  };

  MessageAnswer Show(const std::string& text, const std::string& title, MessageButtons buttons,
                     MessageIcon icon) override {
    Shown.push_back({text, title, buttons, icon});
    return Answer;
  }

  [[nodiscard]] std::vector<std::string> Texts() const {
    std::vector<std::string> texts;
    for (const Box& box : Shown) texts.push_back(box.Text);
    return texts;
  }

  std::vector<Box> Shown;
  MessageAnswer Answer = MessageAnswer::Ok;
};

// A loop whose time passes only when somebody sleeps.
class FakeLoop final : public MessageLoop {
 public:
  void DoEvents() override {
    ++Passes;
    std::deque<std::function<void()>> events;
    events.swap(events_);
    for (const auto& event : events) event();
    if (On_Pass) On_Pass();
  }
  void Sleep(std::chrono::milliseconds time) override {
    Sleeps.push_back(time);
    Slept += time;
  }
  void Post(std::function<void()> event) override { events_.push_back(std::move(event)); }

  std::function<void()> On_Pass;
  std::vector<std::chrono::milliseconds> Sleeps;
  std::chrono::milliseconds Slept{0};
  int Passes = 0;

 private:
  std::deque<std::function<void()>> events_;
};

class FakeClock final : public Clock {
 public:
  [[nodiscard]] Date Today() const override {
    if (TodayError != 0) throw RunTimeError(TodayError);
    return Day;
  }
  [[nodiscard]] std::chrono::seconds Time_Of_Day() const override { return Time; }

  Date Day = std::chrono::year(2003) / 3 / 14;
  std::chrono::seconds Time = std::chrono::hours(10);
  int TodayError = 0;  // raised by Today unless 0
};

// Keeps what is to be mailed; nothing leaves the machine.
class RecordingMail final : public MailSender {
 public:
  std::string Send(const Mail& mail) override {
    Sent.push_back(mail);
    return Fault;
  }
  std::vector<Mail> Sent;
  std::string Fault;
};

class FakeStatus final : public StatusLine {
 public:
  void Show(const std::string& text) override { Shown.push_back(text); }
  std::vector<std::string> Shown;
};

class FakeLog final : public DownloadLog {
 public:
  void Show() override { ++Shows; }
  void Clear() override { Lines.clear(); }
  void Add(const std::string& line) override { Lines.push_back(line); }
  std::vector<std::string> Lines;
  int Shows = 0;
};

// A transfer that goes through scripted states, one for each pass of the loop, and answers with a scripted
// body.
class FakeTransfer final : public TransferControl {
 public:
  struct Script {
    std::vector<int> States = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 12};
    std::string Body = {};
    std::string Why = {};
    int ExecuteError = 0;  // raised by Execute unless 0
  };

  explicit FakeTransfer(FakeLoop& loop) : loop_(loop) {}

  void Execute(const std::string& address, const std::string& operation) override {
    Addresses.push_back(address);
    Operations.push_back(operation);
    Current = Answer_To ? Answer_To(address) : Script{};
    taken_ = 0;
    if (Current.ExecuteError != 0) throw RunTimeError(Current.ExecuteError);
    Post_State(0, ++generation_);
  }
  std::string GetChunk(size_t size, int data_type) override {
    LastDataType = data_type;
    std::string piece = Current.Body.substr(taken_, size);
    taken_ += piece.size();
    if (!piece.empty()) ++Pieces;
    return piece;
  }
  void Cancel() override {
    ++Cancels;
    ++generation_;
  }
  [[nodiscard]] std::string Reason() const override { return Current.Why; }

  std::function<Script(const std::string& address)> Answer_To;
  Script Current;
  std::vector<std::string> Addresses;
  std::vector<std::string> Operations;
  int Cancels = 0;
  int Pieces = 0;
  int LastDataType = -1;

 private:
  void Post_State(size_t index, int generation) {
    if (index >= Current.States.size()) return;
    loop_.Post([this, index, generation] {
      if (generation != generation_) return;
      Post_State(index + 1, generation);
      if (StateChanged) StateChanged(Current.States[index]);
    });
  }

  FakeLoop& loop_;
  size_t taken_ = 0;
  int generation_ = 0;
};

// Files in memory that can be told to fail.
class MemoryFiles final : public Files {
 public:
  std::unique_ptr<OutputFile> Open_For_Output(const std::string& path) override {
    if (OpenError != 0) throw RunTimeError(OpenError, path);
    ++Opens;
    return std::make_unique<MemoryFile>(*this, path);
  }
  std::unique_ptr<OutputFile> Open_For_Private_Output(const std::string& path) override {
    return Open_For_Output(path);
  }
  std::string Read(const std::string& path) override {
    ++Reads;
    if (ReadError != 0) throw RunTimeError(ReadError, path);
    const auto found = Contents.find(path);
    if (found == Contents.end()) throw RunTimeError(FileNotFound, path);
    return found->second;
  }
  void Copy(const std::string& from, const std::string& to) override { Contents[to] = Read(from); }
  void Rename(const std::string& from, const std::string& to) override {
    if (RenameError != 0) throw RunTimeError(RenameError, to);
    const auto found = Contents.find(from);
    if (found == Contents.end()) throw RunTimeError(FileNotFound, from);
    std::string bytes = found->second;
    Contents.erase(found);
    Contents[to] = std::move(bytes);
  }
  void Delete(const std::string& path) override {
    if (Contents.erase(path) == 0) throw RunTimeError(FileNotFound, path);
  }
  bool Exists(const std::string& path) override { return Contents.count(path) != 0; }

  std::map<std::string, std::string> Contents;
  int OpenError = 0;    // raised by Open_For_Output unless 0
  int WriteError = 0;   // raised by every Write unless 0
  int CloseError = 0;   // raised by Close unless 0
  int ReadError = 0;    // raised by Read unless 0
  int RenameError = 0;  // raised by Rename unless 0
  int Opens = 0;
  int Reads = 0;

 private:
  class MemoryFile final : public OutputFile {
   public:
    MemoryFile(MemoryFiles& files, std::string path) : files_(files), path_(std::move(path)) {}
    void Write(std::string_view bytes) override {
      if (files_.WriteError != 0) {
        failed_ = true;
        throw RunTimeError(files_.WriteError, path_);
      }
      bytes_ += bytes;
    }
    void Close() override {
      if (files_.CloseError != 0) throw RunTimeError(files_.CloseError, path_);
      if (failed_) throw RunTimeError(DeviceIOError, path_);
      files_.Contents[path_] = bytes_;
    }

   private:
    MemoryFiles& files_;
    std::string path_;
    std::string bytes_;
    bool failed_ = false;
  };
};

}  // namespace hq::test
