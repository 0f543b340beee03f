#include "errortrap/trap_settings.h"

#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <string>
#include <string_view>
#include <vector>

#include "base/profile.h"
#include "built_places.h"
#include "platform/files.h"
#include "support/fakes.h"
#include "support/temp_folder.h"
#include "support/utf16.h"

namespace hq {
namespace {

using test::MemoryFiles;
using test::TempFolder;

TrapSettings Settings_Of(std::string_view text) {
  return Read_Trap_Settings(Profile(text));
}

// The settings one after the other, so that whole sets can be compared and shown.
std::string All(const TrapSettings& settings) {
  const auto flag = [](const char* name, bool on) { return std::string(name) + (on ? "=1 " : "=0 "); };
  return flag("CircularLog", settings.CircularLog) + settings.CircularFileName + " " +
         std::to_string(settings.RecordSize) + " " + std::to_string(settings.MaxRecords) + " " +
         flag("ForceSystemInfo", settings.ForceSystemInfo) + "<" + settings.EmailAddress + "> " +
         flag("WriteToDisk", settings.WriteToDisk) + flag("CaptureToDisk", settings.CaptureToDisk) +
         settings.LogFile + " " + flag("SilentRun", settings.SilentRun) +
         std::to_string(static_cast<int>(settings.Display)) + " " +
         flag("Resources", settings.IncludeResources) + flag("Memory", settings.IncludeMemory) +
         flag("Arguments", settings.IncludeArguments) + flag("User", settings.IncludeUser) + "<" +
         settings.DefectDatabase + "> <" + settings.DefectAddress + "> <" + settings.DefectProject + "> <" +
         settings.DefectAssignedTo + "> " + flag("AttachLog", settings.AttachLog);
}

const std::string Defaults =
    "CircularLog=0 circ0001.log 512 100 ForceSystemInfo=0 <> WriteToDisk=0 CaptureToDisk=0 error.log "
    "SilentRun=0 0 Resources=1 Memory=1 Arguments=1 User=1 <> <> <> <> AttachLog=1 ";

TEST(TrapSettings, HaveDefaults) {
  EXPECT_EQ(All(TrapSettings{}), Defaults);
  EXPECT_EQ(All(Settings_Of("")), Defaults);
  EXPECT_EQ(All(Settings_Of("[Other]\nCircularLog=1\n")), Defaults);
}

TEST(TrapSettings, AreAllReadFromTheFile) {
  EXPECT_EQ(All(Settings_Of("[Log File]\r\nCircularLog=1\r\nWrite To Disk=1\r\nCapture To Disk=1\r\n"
                            "Log File=errors.rtf\r\n"
                            "[CircularLog]\r\nFileName=trace.log\r\nRecordSize=128\r\nMaxRecords=2000\r\n"
                            "[Preferences]\r\nForce System Info=1\r\nSilent Run=1\r\nDisplay Mode=2\r\n"
                            "[Include]\r\nResources=0\r\nMemory=0\r\nArguments=0\r\nUser=0\r\n"
                            "[EMail]\r\nAddress=help@example.com\r\n"
                            "[TrackRecord]\r\nDatabase=defects\r\nAddress=there\r\nProject=quotes\r\n"
                            "Assigned To=somebody\r\n"
                            "[DevCenter]\r\nAttach Log=0\r\n")),
            "CircularLog=1 trace.log 128 2000 ForceSystemInfo=1 <help@example.com> WriteToDisk=1 "
            "CaptureToDisk=1 errors.rtf SilentRun=1 2 Resources=0 Memory=0 Arguments=0 User=0 <defects> "
            "<there> <quotes> <somebody> AttachLog=0 ");
}

TEST(TrapSettings, AreReadFromWhicheverWayASectionIsWritten) {
  for (const std::string section : {"Log File", "log file", "LOG FILE"}) {
    const TrapSettings settings = Settings_Of("[" + section + "]\nCircularLog=1\nWrite To Disk=1\n");
    EXPECT_TRUE(settings.CircularLog) << section;
    EXPECT_TRUE(settings.WriteToDisk) << section;
  }
}

TEST(TrapSettings, TakeAFlagByItsFirstCharacter) {
  for (const std::string on : {"1", "10", "1 ; yes", "\"1\"", "123456789", "  1"}) {
    EXPECT_TRUE(Settings_Of("[log file]\nWrite To Disk=" + on + "\n").WriteToDisk) << on;
    EXPECT_TRUE(Settings_Of("[include]\nMemory=" + on + "\n").IncludeMemory) << on;
  }
  for (const std::string off : {"", "0", "01", "yes", "True", "-1", "2", "\" 1\""}) {
    EXPECT_FALSE(Settings_Of("[log file]\nWrite To Disk=" + off + "\n").WriteToDisk) << off;
    EXPECT_FALSE(Settings_Of("[include]\nMemory=" + off + "\n").IncludeMemory) << off;
  }
}

TEST(TrapSettings, TellThatEachFlagIsItsOwn) {
  std::vector<std::string> seen;
  for (const TrapSettingKey& key : Trap_Setting_Keys()) {
    const bool is_on = key.Default == "1";
    const std::string text =
        "[" + std::string(key.Section) + "]\n" + std::string(key.Key) + "=" + (is_on ? "0" : "1") + "\n";
    const std::string settings = All(Settings_Of(text));
    const bool too_small = key.Key == "RecordSize" || key.Key == "MaxRecords";
    EXPECT_EQ(settings == Defaults, too_small) << text;
    for (const std::string& other : seen) EXPECT_NE(settings, other) << text;
    if (!too_small) seen.push_back(settings);
  }
  EXPECT_EQ(Trap_Setting_Keys().size(), 20U);
}

TEST(TrapSettings, CutValuesToTheirRooms) {
  const std::string endless(1000, 'x');
  EXPECT_EQ(Settings_Of("[email]\nAddress=" + endless).EmailAddress, endless.substr(0, 255));
  EXPECT_EQ(Settings_Of("[TrackRecord]\nDatabase=" + endless).DefectDatabase, endless.substr(0, 255));
  EXPECT_EQ(Settings_Of("[TrackRecord]\nAddress=" + endless).DefectAddress, endless.substr(0, 255));
  EXPECT_EQ(Settings_Of("[TrackRecord]\nProject=" + endless).DefectProject, endless.substr(0, 255));
  EXPECT_EQ(Settings_Of("[TrackRecord]\nAssigned To=" + endless).DefectAssignedTo, endless.substr(0, 255));
  EXPECT_EQ(Settings_Of("[log file]\nLog File=" + endless).LogFile, endless.substr(0, 128));
  EXPECT_EQ(Settings_Of("[CircularLog]\nFileName=" + endless).CircularFileName, endless.substr(0, 255));
  EXPECT_EQ(Settings_Of("[CircularLog]\nRecordSize=" + std::string(300, '0') + "64").RecordSize, 512U);
}

TEST(TrapSettings, NameTheRoomOfEachKey) {
  for (const TrapSettingKey& key : Trap_Setting_Keys()) {
    const size_t expected = key.Key == "CircularLog"                                     ? 5
                            : key.Key == "Write To Disk" || key.Key == "Capture To Disk" ? 8
                            : key.Key == "Log File"                                      ? 128
                                                                                         : 255;
    EXPECT_EQ(key.Longest, expected) << key.Key;
  }
}

TEST(TrapSettings, TakeNumbersWithinTheirRanges) {
  const auto size = [](const std::string& value) {
    return Settings_Of("[CircularLog]\nRecordSize=" + value + "\n").RecordSize;
  };
  const auto records = [](const std::string& value) {
    return Settings_Of("[CircularLog]\nMaxRecords=" + value + "\n").MaxRecords;
  };
  EXPECT_EQ(size("64"), 64U);
  EXPECT_EQ(size("65536"), 65536U);
  EXPECT_EQ(size("65537"), 512U);
  EXPECT_EQ(size("63"), 512U);
  EXPECT_EQ(size("0"), 512U);
  EXPECT_EQ(size("-128"), 512U);
  EXPECT_EQ(size("128 ; bytes"), 128U);
  EXPECT_EQ(size("128.9"), 128U);
  EXPECT_EQ(size("63.9"), 512U);
  EXPECT_EQ(size("many"), 512U);
  EXPECT_EQ(size(""), 512U);
  EXPECT_EQ(size("99999999999999999999999999"), 512U);
  EXPECT_EQ(size("nan"), 512U);
  EXPECT_EQ(size("\"256\""), 256U);
  EXPECT_EQ(records("1"), 100U);
  EXPECT_EQ(records("2"), 2U);
  EXPECT_EQ(records("1000000"), 1000000U);
  EXPECT_EQ(records("1000001"), 100U);
}

TEST(TrapSettings, KeepTheCircularLogInTheProgramFolder) {
  for (const std::string name : {"", "..", ".", "../trace.log", "/tmp/trace.log", "logs/trace.log", "a\\b",
                                 "\\trace.log", "C:\\trace.log", "C:trace.log", "/"}) {
    EXPECT_EQ(Settings_Of("[CircularLog]\nFileName=" + name + "\n").CircularFileName, "circ0001.log") << name;
  }
  for (const std::string name : {"trace.log", "...", "a..b", ".hidden", "two words.rtf"}) {
    EXPECT_EQ(Settings_Of("[CircularLog]\nFileName=" + name + "\n").CircularFileName, name);
  }
}

TEST(TrapSettings, KnowThreeDisplayModes) {
  const auto mode = [](const std::string& value) {
    return Settings_Of("[preferences]\nDisplay Mode=" + value + "\n").Display;
  };
  EXPECT_EQ(mode("0"), DisplayMode::Whole);
  EXPECT_EQ(mode("1"), DisplayMode::Compact);
  EXPECT_EQ(mode("2"), DisplayMode::OnTop);
  for (const char* other : {"3", "-1", "", "x", "1.5", "99999999999999"}) {
    EXPECT_EQ(mode(other), DisplayMode::Whole) << other;
  }
}

TEST(TrapSettings, TellEachValueThatIsNotTaken) {
  const auto fault = [](const std::string& section, const std::string& line) {
    const std::vector<std::string> faults = Settings_Of("[" + section + "]\n" + line + "\n").Faults;
    return faults.size() == 1 ? faults[0] : std::to_string(faults.size()) + " faults";
  };
  EXPECT_EQ(fault("CircularLog", "RecordSize=32"),
            "RecordSize=32 in [CircularLog] of FSCLIENT.INI is not a number from 64 to 65536; 512 is used.");
  EXPECT_EQ(
      fault("circularlog", "recordsize=many"),
      "RecordSize=many in [CircularLog] of FSCLIENT.INI is not a number from 64 to 65536; 512 is used.");
  EXPECT_EQ(
      fault("CircularLog", "MaxRecords=1000001"),
      "MaxRecords=1000001 in [CircularLog] of FSCLIENT.INI is not a number from 2 to 1000000; 100 is used.");
  EXPECT_EQ(
      fault("CircularLog", "FileName=../trace"),
      "FileName=../trace in [CircularLog] of FSCLIENT.INI is not a name without a folder; circ0001.log is "
      "used.");
  EXPECT_EQ(fault("preferences", "Display Mode=x"),
            "Display Mode=x in [preferences] of FSCLIENT.INI is not 0, 1 or 2; 0 is used.");
  EXPECT_EQ(fault("include", "Memory=yes"),
            "Memory=yes in [include] of FSCLIENT.INI is not 0 or 1; 0 is used.");
  EXPECT_EQ(
      fault("log file", "Log File=" + std::string(129, 'x')),
      "Log File=" + std::string(80, 'x') +
          "... in [log file] of FSCLIENT.INI is not a text of at most 128 bytes; what fits of it is used.");
  EXPECT_EQ(fault("preferences", "Silent Run=on\a"),
            "Silent Run=on in [preferences] of FSCLIENT.INI is not 0 or 1; 0 is used.");
}

TEST(TrapSettings, TellNothingOfValuesThatAreTaken) {
  for (const char* text :
       {"", "[CircularLog]\nRecordSize=64\nMaxRecords=2\nFileName=a.log\n",
        "[CircularLog]\nRecordSize=\nMaxRecords=\nFileName=\n", "[CircularLog]\nRecordSize=128 ; bytes\n",
        "[preferences]\nDisplay Mode=0\nSilent Run=0 ; not yet\n",
        "[preferences]\nDisplay Mode=2\nSilent Run=\n", "[log file]\nLog File=\nWrite To Disk=1234567890\n",
        "[Other]\nRecordSize=1\n", "[CircularLog]\nFileName=a.rtf\nMaxRecords=3\n"}) {
    EXPECT_TRUE(Settings_Of(text).Faults.empty()) << text;
  }
}

TEST(TrapSettings, KeepRoomForTheHeaderOfRichText) {
  const TrapSettings settings = Settings_Of("[CircularLog]\nFileName=a.rtf\nMaxRecords=2\n");
  EXPECT_EQ(settings.MaxRecords, 100U);
  EXPECT_THAT(settings.Faults,
              testing::ElementsAre("MaxRecords=2 in [CircularLog] of FSCLIENT.INI is not a number from 3 to "
                                   "1000000, as rich text needs; 100 is used."));
}

TEST(TrapSettings, TakeTheDefaultNameForAnEmptyLogFile) {
  EXPECT_EQ(Settings_Of("[log file]\nLog File=\n").LogFile, "error.log");
  EXPECT_EQ(Settings_Of("[log file]\nLog File=\"\"\n").LogFile, "error.log");
}

TEST(LoadTrapSettings, ReadsTheFileInTheProgramFolder) {
  const TempFolder folder;
  folder.Write("FSCLIENT.INI", "[preferences]\r\nSilent Run=1\r\n");
  SystemFiles files;
  EXPECT_TRUE(Load_Trap_Settings(files, folder.Path()).SilentRun);
}

TEST(LoadTrapSettings, ReadsEveryWayOfWriting) {
  const std::string text = "[preferences]\r\nSilent Run=1\r\n[log file]\r\nLog File=my errors.log\r\n";
  MemoryFiles files;
  for (const std::string& bytes :
       {text, "\xEF\xBB\xBF" + text, test::Utf16(text), test::Utf16(text).substr(2)}) {
    files.Contents[Join_Path("folder", "FSCLIENT.INI")] = bytes;
    const TrapSettings settings = Load_Trap_Settings(files, "folder");
    EXPECT_TRUE(settings.SilentRun);
    EXPECT_EQ(settings.LogFile, "my errors.log");
  }
}

TEST(LoadTrapSettings, TakesWhatASpoiledFileStillSays) {
  MemoryFiles files;
  files.Contents[Join_Path("folder", "FSCLIENT.INI")] =
      std::string("[preferences]\nSilent Run=1\n", 27) + std::string(100, '\0');
  EXPECT_TRUE(Load_Trap_Settings(files, "folder").SilentRun);
}

TEST(LoadTrapSettings, TakesTheDefaultsWhenTheFileCannotBeRead) {
  const TempFolder folder;
  SystemFiles files;
  EXPECT_EQ(All(Load_Trap_Settings(files, folder.Path())), Defaults);
  EXPECT_EQ(All(Load_Trap_Settings(files, folder / "missing")), Defaults);
  EXPECT_TRUE(Load_Trap_Settings(files, folder.Path()).Faults.empty());
  std::filesystem::create_directory(folder / "FSCLIENT.INI");
  const TrapSettings unread = Load_Trap_Settings(files, folder.Path());
  EXPECT_EQ(All(unread), Defaults);
  ASSERT_EQ(unread.Faults.size(), 1U);
  EXPECT_THAT(unread.Faults[0],
              testing::StartsWith("FSCLIENT.INI can't be read, so every setting has its default: " +
                                  (folder / "FSCLIENT.INI")));
}

class LogNames : public testing::Test {
 protected:
  TrapSettings Load(const std::string& text) {
    Home.Write("FSCLIENT.INI", text);
    return Load_Trap_Settings(Disk, Home.Path());
  }
  TempFolder Home;
  SystemFiles Disk;
};

TEST_F(LogNames, AreNoneOfTheProgramsOwnFiles) {
  for (const std::string name :
       {"user.cfg",           "user.cfg.bak",  "server.ini",  "server.ini.example", "FSCLIENT.INI",
        "quotes.db",          "quotes.db-wal", "t8.ico",      "history-quotes",     "history-quotes-cli",
        "history-quotes.exe", "quote-server",  "trace.log",   "trace.log.bak",      "trace-2.log",
        "trace-99.log.bak",   "fserror.log",   "!error!.log", "Qt6Core.dll",        "README.txt",
        "installed-copy"}) {
    const TrapSettings settings =
        Load("[log file]\nLog File=" + name + "\n[CircularLog]\nFileName=" + name + "\n");
    EXPECT_EQ(settings.LogFile, "error.log") << name;
    EXPECT_EQ(settings.CircularFileName, "circ0001.log") << name;
    EXPECT_THAT(
        settings.Faults,
        testing::ElementsAre("Log File=" + name +
                                 " in [log file] of FSCLIENT.INI is not a file for a log, because the "
                                 "program keeps something else in it; error.log is used.",
                             "FileName=" + name +
                                 " in [CircularLog] of FSCLIENT.INI is not a file for a log, because "
                                 "the program keeps something else in it; circ0001.log is used."));
  }
  std::filesystem::create_directory(Home / "inner");
  for (const std::string& path : {Home / "user.cfg", Home / "./user.cfg", Home / "inner/../server.ini",
                                  Home / "sources/yahoo.json", Home / "sources/deep/er.log"}) {
    EXPECT_EQ(Load("[log file]\nLog File=" + path + "\n").LogFile, "error.log") << path;
  }
}

TEST_F(LogNames, MayBeAllOthers) {
  const TempFolder elsewhere;
  for (const std::string& name :
       {std::string("mine.log"), std::string("user.cfg2"), std::string("my user.cfg"),
        std::string("history-quotes-errors.log"), std::string("trace-of-mine.log"), elsewhere / "user.cfg",
        Home / "inner/server.ini"}) {
    const TrapSettings settings = Load("[log file]\nLog File=" + name + "\n");
    EXPECT_EQ(settings.LogFile, name);
    EXPECT_TRUE(settings.Faults.empty()) << name;
  }
}

TEST_F(LogNames, AreTwo) {
  const auto names = [](const TrapSettings& settings) {
    return settings.LogFile + " " + settings.CircularFileName + " " + std::to_string(settings.Faults.size());
  };
  const auto both = [](const std::string& error_log, const std::string& circular) {
    return "[log file]\nLog File=" + error_log + "\n[CircularLog]\nFileName=" + circular + "\n";
  };
  EXPECT_EQ(names(Load(both("a.log", "a.log"))), "a.log circ0001.log 1");
  EXPECT_EQ(names(Load(both(Home / "./a.log", "a.log"))), (Home / "./a.log") + " circ0001.log 1");
  EXPECT_EQ(names(Load(both("circ0001.log", "circ0001.log"))), "error.log circ0001.log 1");
  EXPECT_EQ(names(Load(both("error.log", "error.log"))), "error.log circ0001.log 1");
  EXPECT_EQ(names(Load(both("circ0001.log", "error.log"))), "circ0001.log error.log 0");
  EXPECT_EQ(
      Load(both("a.log", "a.log")).Faults[0],
      "FileName=a.log in [CircularLog] of FSCLIENT.INI is not a file for this log, because the other log is "
      "kept in it; circ0001.log is used.");
}

TEST(LoadTrapSettings, TakesTheDefaultsForBytesThatAreNoSettings) {
  MemoryFiles files;
  for (const std::string& bytes :
       {std::string("\0\0\0", 3), std::string("\xFF\xFE[\0l\0o\0g\0", 9), std::string(100000, '[')}) {
    files.Contents[Join_Path("folder", "FSCLIENT.INI")] = bytes;
    EXPECT_EQ(All(Load_Trap_Settings(files, "folder")), Defaults);
  }
}

TEST(LogFilePath, IsInTheProgramFolderUnlessTheNameHasAFolder) {
  TrapSettings settings;
  EXPECT_EQ(Log_File_Path(settings, "folder"), Join_Path("folder", "error.log"));
  settings.LogFile = "my errors.log";
  EXPECT_EQ(Log_File_Path(settings, "folder"), Join_Path("folder", "my errors.log"));
  settings.LogFile = Join_Path("logs", "error.log");
  EXPECT_EQ(Log_File_Path(settings, "folder"), settings.LogFile);
  settings.LogFile = Join_Path(TempFolder().Path(), "error.log");
  EXPECT_EQ(Log_File_Path(settings, "folder"), settings.LogFile);
}

TEST(ExampleSettings, ChangeNothingAndNameEveryKey) {
  const std::string text = test::Bytes_Of(HQ_EXAMPLE_SETTINGS);
  const Profile example(text);
  EXPECT_EQ(All(Read_Trap_Settings(example)), Defaults);
  for (const TrapSettingKey& key : Trap_Setting_Keys()) {
    EXPECT_NE(example.Get(key.Section, key.Key, "missing"), "missing") << key.Section << " " << key.Key;
  }
}

TEST(ExampleSettings, ExplainEveryKey) {
  const std::string text = test::Bytes_Of(HQ_EXAMPLE_SETTINGS);
  std::string line_before;
  size_t keys = 0;
  for (size_t start = 0; start < text.size();) {
    const size_t end = text.find('\n', start);
    const std::string line = text.substr(start, end - start);
    if (line.find('=') != std::string::npos && line[0] != ';') {
      ++keys;
      EXPECT_EQ(line_before.substr(0, 2), "; ") << line;
    }
    line_before = line;
    start = end == std::string::npos ? text.size() : end + 1;
  }
  EXPECT_EQ(keys, Trap_Setting_Keys().size());
}

}  // namespace
}  // namespace hq
