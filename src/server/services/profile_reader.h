#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "server/services/source_profile.h"

namespace hq::server {

// Why a file is no profile.
struct ProfileError {
  // The file's name as it was given.
  std::string File;
  // Where in the file: the path to the value like "/feeds/0/answer/fields/open", or "line 3, column 14";
  // empty when it is about the folder of the files.
  std::string Place;
  // What is wrong there; a sentence without a full stop.
  std::string Reason;

  // All three in one line.
  [[nodiscard]] std::string Text() const;
};

// The largest profile that is read, in bytes.
inline constexpr std::size_t largest_profile = 256UL * 1024;

// Reads the text of a profile; `file_name` stands in errors, and without folders and ending it must be the
// name in the profile. A member that the program doesn't know is an error, because it may be a misspelt one.
[[nodiscard]] std::variant<SourceProfile, ProfileError> Read_Profile(std::string_view text,
                                                                     std::string_view file_name);

// Reads a profile from its file. Never raises but std::bad_alloc.
[[nodiscard]] std::variant<SourceProfile, ProfileError> Load_Profile(const std::filesystem::path& file);

// What a folder of profiles holds.
struct ProfileFolder {
  // Sorted by name.
  std::vector<SourceProfile> Profiles;
  // Files ending in .json that are no profiles, or why the folder can't be listed.
  std::vector<ProfileError> Errors;
};

// Reads all files of a folder that end in .json.
[[nodiscard]] ProfileFolder Load_Profiles(const std::filesystem::path& folder);

}  // namespace hq::server
