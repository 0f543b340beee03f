#include "platform/server_settings_file.h"

#include <memory>
#include <utility>

#include "base/run_time_error.h"
#include "platform/set_aside.h"

namespace hq {

namespace {

SettingsError Not_Saved(const RunTimeError& error) {
  return SettingsError("The settings can't be saved: " + error.Detail() + ".");
}

SettingsText With_Changes(SettingsText text, const std::vector<SettingsChange>& changes) {
  for (const SettingsChange& change : changes) text.Put(change);
  return text;
}

}  // namespace

ServerSettingsFile::ServerSettingsFile(Files& files, std::string path)
    : files_(files), path_(std::move(path)), state_(Read_Now()) {}

std::string ServerSettingsFile::Fault() const {
  return Current().Fault;
}

bool ServerSettingsFile::Is_There() const {
  return Current().IsThere;
}

std::string ServerSettingsFile::Text() const {
  return Current().Contents.Text();
}

void ServerSettingsFile::Read_Again() {
  Keep(Read_Now());
}

void ServerSettingsFile::Save(const std::vector<SettingsChange>& changes, const Look& look) {
  State now = Read_Now();
  if (!now.Fault.empty()) throw SettingsError(now.Fault);
  const State before = Current();
  // A file that is gone meanwhile comes back with all that it had.
  const bool is_gone = before.IsThere && !now.IsThere;
  if (is_gone) now.Contents = before.Contents;
  const std::string bytes_before = now.Contents.Bytes();
  try {
    now.Contents = With_Changes(std::move(now.Contents), changes);
  } catch (const RunTimeError& error) {
    throw SettingsError("The settings can't be saved: " + path_ + ": " + error.Detail() + ".");
  }
  if (look) look(now.Contents.Text());
  const std::string bytes = now.Contents.Bytes();
  if (bytes != bytes_before || is_gone) {
    try {
      Write(bytes);
    } catch (const RunTimeError& error) {
      throw Not_Saved(error);
    }
    now.IsThere = true;
  }
  Keep(std::move(now));
}

void ServerSettingsFile::Replace(const std::vector<SettingsChange>& changes, const Look& look) {
  if (Read_Now().Fault.empty()) return Save(changes, look);
  State made;
  made.IsThere = true;
  made.Contents = With_Changes(SettingsText(), changes);
  if (look) look(made.Contents.Text());
  try {
    const std::string aside = Set_Aside(files_, path_);
    try {
      Write(made.Contents.Bytes());
    } catch (...) {
      files_.Rename(aside, path_);
      throw;
    }
  } catch (const RunTimeError& error) {
    throw Not_Saved(error);
  }
  Keep(std::move(made));
}

ServerSettingsFile::State ServerSettingsFile::Read_Now() const {
  const auto fault = [](const std::string& reason) {
    State state;
    state.IsThere = true;
    state.Fault = "The settings can't be read: " + reason + ".";
    return state;
  };
  State state;
  std::string bytes;
  try {
    bytes = files_.Read(path_);
  } catch (const RunTimeError& error) {
    return error.Number() == FileNotFound ? state : fault(error.Detail());
  }
  state.IsThere = true;
  try {
    state.Contents = SettingsText(bytes);
  } catch (const RunTimeError& error) {
    return fault(path_ + ": " + error.Detail());
  }
  return state;
}

ServerSettingsFile::State ServerSettingsFile::Current() const {
  const std::lock_guard lock(mutex_);
  return state_;
}

void ServerSettingsFile::Keep(State state) {
  const std::lock_guard lock(mutex_);
  state_ = std::move(state);
}

void ServerSettingsFile::Write(const std::string& bytes) const {
  const std::unique_ptr<OutputFile> file = files_.Open_For_Private_Output(path_);
  file->Write(bytes);
  file->Close();
}

}  // namespace hq
