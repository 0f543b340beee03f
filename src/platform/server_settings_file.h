#pragma once

#include <functional>
#include <mutex>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "platform/files.h"
#include "platform/settings_text.h"

namespace hq {

// The file in the program folder that says where quotes come from, with the keys of the services.
inline constexpr std::string_view ServerSettingsFileName = "server.ini";

// Why the settings can't be read or saved: one or more sentences for the user, which name the file.
class SettingsError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The one owner of the settings file "server.ini" in a program: it is read once, and whoever reads or changes
// a value asks here. Nothing is ever saved over what was not read whole. Text, Fault and Is_There may be
// called from any thread; all else from one.
class ServerSettingsFile {
 public:
  // Looks at a text of the file before it is written, and may raise anything to keep it from being written.
  using Look = std::function<void(const std::string& text)>;

  // Reads the file. files outlives the object.
  ServerSettingsFile(Files& files, std::string path);

  [[nodiscard]] const std::string& Path() const { return path_; }

  // Why the file can't be read, though there is one; empty when it was read, or is not there.
  [[nodiscard]] std::string Fault() const;
  [[nodiscard]] bool Is_There() const;
  // The text as it was read or saved last, in the system's own 8-bit text; empty when there is none or it
  // can't be read.
  [[nodiscard]] std::string Text() const;

  // Reads the file once more.
  void Read_Again();

  // Changes values in the file as it is by now, whole or not at all. Remarks, line ends, the way of writing,
  // links, owner and permissions stay; a new file is the user's alone. Nothing is written when nothing
  // changes. Raises SettingsError when the file can't be read or written, and what `look` raises; then
  // nothing has changed.
  void Save(const std::vector<SettingsChange>& changes, const Look& look = {});

  // The same when the file can't be read, for a user who wants that: it gets the name "server.ini.bak", or
  // the next free one, and a new one takes its place.
  void Replace(const std::vector<SettingsChange>& changes, const Look& look = {});

 private:
  struct State {
    bool IsThere = false;
    SettingsText Contents;
    std::string Fault;
  };

  // Raises nothing that the file is to blame for.
  [[nodiscard]] State Read_Now() const;
  [[nodiscard]] State Current() const;
  void Keep(State state);
  void Write(const std::string& bytes) const;

  Files& files_;
  const std::string path_;
  mutable std::mutex mutex_;
  State state_;
};

}  // namespace hq
