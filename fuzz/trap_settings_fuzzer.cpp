// Any bytes as a profile and as the settings of the error trap.

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "base/profile.h"
#include "base/strings.h"
#include "errortrap/trap_settings.h"
#include "require.h"
#include "support/fakes.h"

namespace {

using namespace hq;

void Check_Key(const Profile& profile, const TrapSettingKey& key) {
  const std::string whole = profile.Get(key.Section, key.Key, key.Default);
  const std::string cut = profile.Get(key.Section, key.Key, key.Default, key.Longest);
  Require(cut.size() <= key.Longest, "a value fits its room");
  Require(whole.starts_with(cut), "a value is cut at its end");
  Require(whole.size() <= key.Longest ? cut == whole : cut.size() + 3 >= key.Longest,
          "a value loses no more than a character beyond its room");
  Require(whole.find_first_of(std::string_view("\0\r\n", 3)) == std::string::npos, "a value is one text");
  Require(profile.Get(Upper_Case(key.Section), Upper_Case(key.Key), key.Default) == whole,
          "the case of names does not count");
}

void Check_Settings(const TrapSettings& settings) {
  const std::string& name = settings.CircularFileName;
  Require(!name.empty() && name != "." && name != ".." &&
              name.find_first_of(std::string_view("/\\:\0", 4)) == std::string::npos,
          "the circular log stays in the program folder");
  Require(settings.RecordSize >= 64 && settings.RecordSize <= 65536, "records have a usable length");
  Require(settings.MaxRecords >= 2 && settings.MaxRecords <= 1000000, "the number of records is usable");
  Require(!settings.LogFile.empty() && settings.LogFile.size() <= 128, "the error log has a name");
  Require(Log_File_Path(settings, "folder").ends_with(settings.LogFile), "the path ends in the name");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const Profile profile(std::string_view(reinterpret_cast<const char*>(data), size));
  for (const TrapSettingKey& key : Trap_Setting_Keys()) Check_Key(profile, key);
  Check_Settings(Read_Trap_Settings(profile));
  test::MemoryFiles files;
  files.Contents[Join_Path("folder", TrapSettingsFileName)].assign(reinterpret_cast<const char*>(data), size);
  Check_Settings(Load_Trap_Settings(files, "folder"));
  return 0;
}
