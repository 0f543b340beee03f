#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace hq {

// The path that a text of the system's own 8-bit characters names.
[[nodiscard]] std::filesystem::path System_Path(std::string_view text);

// Whether a text can be one of the system's own 8-bit characters: UTF-8 where these are, any elsewhere.
[[nodiscard]] bool Is_System_Text(std::string_view text);

// A path as text in UTF-8.
[[nodiscard]] std::string Utf8_Text(const std::filesystem::path& path);

// Where a path leads: absolute, without "." and "..", every link followed, whether or not there is a file in
// the end. What can't be looked at is taken as it stands.
[[nodiscard]] std::filesystem::path Place_Of(const std::filesystem::path& path);

// What two names of files in one folder have in common when the system takes them for one name: the letters'
// case does not count on Windows, nor do blanks and points at the end and what stands behind a colon.
[[nodiscard]] std::string File_Name_Key(const std::filesystem::path& name);

// Whether other users of this computer can read a file, as far as its mode tells; false on systems where it
// doesn't.
[[nodiscard]] bool Others_Can_Read(const std::filesystem::path& file);

}  // namespace hq
