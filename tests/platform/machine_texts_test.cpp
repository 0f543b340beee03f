#include "platform/machine_texts.h"

#include <gtest/gtest.h>
#include <string>
#include <vector>

namespace hq {
namespace {

using DriveKind = MachineFacts::DriveKind;

constexpr std::uint64_t KB = 1024;

TEST(MemoryFrom, TakesTheTotalsTheAvailableAndTheSwap) {
  const MemorySizes memory = Memory_From(
      "MemTotal:       8000000 kB\nMemFree:        1000000 kB\nMemAvailable:   3000000 kB\n"
      "SwapCached:           12 kB\nSwapTotal:      2000000 kB\nSwapFree:       1500000 kB\n");
  EXPECT_EQ(memory.Physical, 8000000 * KB);
  EXPECT_EQ(memory.AvailablePhysical, 3000000 * KB);
  EXPECT_EQ(memory.Virtual, 10000000 * KB);
  EXPECT_EQ(memory.AvailableVirtual, 4500000 * KB);
}

TEST(MemoryFrom, KnowsNothingFromNothing) {
  for (const char* text : {"", "\n\n\n", ":", "MemTotal", "MemTotal:", "MemTotal:\n", "MemTotal: kB\n"}) {
    const MemorySizes memory = Memory_From(text);
    EXPECT_FALSE(memory.Physical) << text;
    EXPECT_FALSE(memory.AvailablePhysical) << text;
    EXPECT_FALSE(memory.Virtual) << text;
    EXPECT_FALSE(memory.AvailableVirtual) << text;
  }
}

TEST(MemoryFrom, PassesOverWhatIsNoSize) {
  for (const char* size : {"-5 kB", "5", "5 MB", "5 kB more", "five kB", "5.5 kB", "0x10 kB", "5kB",
                           "18446744073709551616 kB", "18014398509481984 kB"}) {
    EXPECT_FALSE(Memory_From("MemTotal: " + std::string(size) + "\n").Physical) << size;
  }
}

TEST(MemoryFrom, HoldsTheLargestSize) {
  EXPECT_EQ(Memory_From("MemTotal: 18014398509481983 kB").Physical, 18014398509481983 * KB);
  // The sum would not fit.
  EXPECT_FALSE(Memory_From("MemTotal: 18014398509481983 kB\nSwapTotal: 1 kB\n").Virtual == 0U);
  EXPECT_FALSE(Memory_From("MemTotal: 18014398509481983 kB\nSwapTotal: 1 kB\n").Virtual);
}

TEST(MemoryFrom, TakesTheFirstOfEqualNames) {
  EXPECT_EQ(Memory_From("MemTotal: 1 kB\nMemTotal: 2 kB\n").Physical, KB);
}

TEST(MemoryFrom, DoesNotBelieveMoreFreeThanThereIs) {
  const MemorySizes memory =
      Memory_From("MemTotal: 10 kB\nMemAvailable: 11 kB\nSwapTotal: 5 kB\nSwapFree: 6 kB\n");
  EXPECT_EQ(memory.Physical, 10 * KB);
  EXPECT_FALSE(memory.AvailablePhysical);
  EXPECT_EQ(memory.Virtual, 15 * KB);
  EXPECT_FALSE(memory.AvailableVirtual);
}

TEST(MemoryFrom, LeavesOutWhatAnOldKernelDoesNotTell) {
  const MemorySizes memory = Memory_From("MemTotal: 10 kB\nMemFree: 4 kB\nSwapTotal: 0 kB\nSwapFree: 0 kB\n");
  EXPECT_EQ(memory.Virtual, 10 * KB);
  EXPECT_FALSE(memory.AvailablePhysical);
  EXPECT_FALSE(memory.AvailableVirtual);
}

TEST(MemoryFrom, TakesReturnsAndTabs) {
  EXPECT_EQ(Memory_From("\tMemTotal :\t7\tkB\r\n").Physical, 7 * KB);
}

TEST(LoadPercent, IsWhatIsNotAvailable) {
  const auto load = [](std::uint64_t total, std::uint64_t available) {
    MemorySizes memory;
    memory.Physical = total;
    memory.AvailablePhysical = available;
    return Load_Percent(memory);
  };
  EXPECT_EQ(load(1000, 1000), 0);
  EXPECT_EQ(load(1000, 0), 100);
  EXPECT_EQ(load(1000, 251), 74);
  EXPECT_EQ(load(1000, 991), 0);
  EXPECT_EQ(load(~0ULL, 0), 100);
  EXPECT_FALSE(load(0, 0));
  EXPECT_FALSE(load(5, 6));
  EXPECT_FALSE(Load_Percent({}));
}

TEST(SystemNameFrom, IsTheNameForPeople) {
  EXPECT_EQ(System_Name_From("NAME=\"Debian GNU/Linux\"\nVERSION=\"12 (bookworm)\"\n"
                             "PRETTY_NAME=\"Debian GNU/Linux 12 (bookworm)\"\n"),
            "Debian GNU/Linux 12 (bookworm)");
  EXPECT_EQ(System_Name_From("PRETTY_NAME='Alpine Linux v3.19'"), "Alpine Linux v3.19");
  EXPECT_EQ(System_Name_From("PRETTY_NAME=Void"), "Void");
}

TEST(SystemNameFrom, TakesNameAndVersionWithoutIt) {
  EXPECT_EQ(System_Name_From("NAME=Arch\nVERSION=1\nVERSION_ID=2\n"), "Arch 1");
  EXPECT_EQ(System_Name_From("NAME=Arch\nVERSION_ID=2\n"), "Arch 2");
  EXPECT_EQ(System_Name_From("NAME=Arch\n"), "Arch");
  EXPECT_EQ(System_Name_From("VERSION_ID=2\n"), "");
  EXPECT_EQ(System_Name_From("PRETTY_NAME=\"\"\nNAME=Arch\n"), "Arch");
}

TEST(SystemNameFrom, ReadsAsAShellWould) {
  EXPECT_EQ(System_Name_From("PRETTY_NAME=\"a \\\"b\\\" \\$c \\\\ d\""), "a \"b\" $c \\ d");
  EXPECT_EQ(System_Name_From("PRETTY_NAME='a \\ b'"), "a \\ b");
  EXPECT_EQ(System_Name_From("PRETTY_NAME=\"it's\""), "it's");
  EXPECT_EQ(System_Name_From("#PRETTY_NAME=no\n\n  PRETTY_NAME=one\nPRETTY_NAME=two\r\n"), "two");
}

TEST(SystemNameFrom, TakesGarbage) {
  EXPECT_EQ(System_Name_From(""), "");
  EXPECT_EQ(System_Name_From("=\n==\nPRETTY_NAME\n"), "");
  EXPECT_EQ(System_Name_From("PRETTY_NAME=\"no end"), "no end");
  EXPECT_EQ(System_Name_From("PRETTY_NAME=\\"), "\\");
}

TEST(DebugKernelFrom, IsToldByTheKernelsName) {
  EXPECT_EQ(Debug_Kernel_From("6.5.6-300.fc39.x86_64+debug", "#1 SMP"), true);
  EXPECT_EQ(Debug_Kernel_From("6.4.0-150600-debug", ""), true);
  EXPECT_EQ(Debug_Kernel_From("6.1.0", "#1 SMP DEBUG build"), true);
}

TEST(DebugKernelFrom, IsNotKnownWhenTheNameIsSilent) {
  EXPECT_FALSE(Debug_Kernel_From("6.1.0-18-amd64", "#1 SMP PREEMPT_DYNAMIC Debian 6.1.76-1").has_value());
  EXPECT_FALSE(Debug_Kernel_From("", "").has_value());
  EXPECT_FALSE(Debug_Kernel_From("6.1-debugfs", "undebug").has_value());
}

TEST(ProcessorsFrom, KnowsTheFamiliesKeys) {
  const struct {
    const char* Text;
    const char* Name;
    int Count;
  } cases[] = {
      {"processor\t: 0\nvendor_id\t: GenuineIntel\nmodel\t\t: 61\nmodel name\t: Intel(R) Core(TM) i5-5200U\n"
       "\nprocessor\t: 1\nvendor_id\t: GenuineIntel\nmodel\t\t: 61\nmodel name\t: Intel(R) Core(TM) "
       "i5-5200U\n",
       "Intel(R) Core(TM) i5-5200U", 2},
      {"processor\t: 0\nBogoMIPS\t: 108.00\nCPU implementer\t: 0x41\nCPU part\t: 0xd08\n\n"
       "processor\t: 1\nCPU implementer\t: 0x41\nCPU part\t: 0xd08\n\nHardware\t: BCM2835\n"
       "Model\t\t: Raspberry Pi 4 Model B\n",
       "implementer 0x41, part 0xd08", 2},
      {"CPU implementer\t: 0x41\nprocessor : 0\n", "implementer 0x41", 1},
      {"Processor\t: ARMv7 Processor rev 4 (v7l)\nprocessor\t: 0\nprocessor\t: 1\nHardware\t: ODROID\n",
       "ARMv7 Processor rev 4 (v7l)", 2},
      {"processor\t: 0\ncpu\t\t: POWER9 (raw), altivec supported\nclock\t\t: 2300MHz\n",
       "POWER9 (raw), altivec supported", 1},
      {"system type\t: MT7621\nprocessor\t: 0\ncpu model\t: MIPS 1004Kc V2.15\n", "MIPS 1004Kc V2.15", 1},
      {"processor\t: 0\nhart\t\t: 1\nisa\t\t: rv64imafdc\nuarch\t\t: sifive,u74-mc\n", "sifive,u74-mc", 1},
      {"vendor_id       : IBM/S390\n# processors    : 4\nprocessor 0: version = FF\n", "IBM/S390", 4},
      {"cpu\t\t: TI UltraSparc IIi\nncpus active\t: 2\n", "TI UltraSparc IIi", 2},
      {"processor : 0\nHardware : Some Board\n", "Some Board", 1},
  };
  for (const auto& one : cases) {
    const ProcessorFacts facts = Processors_From(one.Text);
    EXPECT_EQ(facts.Name, one.Name);
    EXPECT_EQ(facts.Count, one.Count) << one.Name;
  }
}

TEST(ProcessorsFrom, KnowsNothingFromGarbage) {
  for (const char* text : {"", "\n", ":::\n", "processor\n", "processor: \nmodel name:\n", "model name: 12\n",
                           "# processors: 0\n", "# processors: -3\n", "# processors: 99999999999\n"}) {
    const ProcessorFacts facts = Processors_From(text);
    EXPECT_EQ(facts.Name, "") << text;
    EXPECT_FALSE(facts.Count) << text;
  }
}

TEST(LanguageFrom, TakesALocalesNameApart) {
  const struct {
    const char* Locale;
    const char* Language;
    const char* Country;
    bool MidEast;
  } cases[] = {
      {"de_DE.UTF-8", "de", "DE", false},
      {"de_DE@euro", "de", "DE", false},
      {"en_US.ISO-8859-1@x", "en", "US", false},
      {"fr", "fr", "", false},
      {"fil_PH", "fil", "PH", false},
      {"es_419.UTF-8", "es", "419", false},
      {"DE_de", "de", "DE", false},
      {"ja_JP.eucJP", "ja", "JP", false},
      {"ar_EG.UTF-8", "ar", "EG", true},
      {"he_IL", "he", "IL", true},
      {"iw", "iw", "", true},
      {"fa_IR.UTF-8", "fa", "IR", true},
      {"ur_PK", "ur", "PK", true},
      {"yi_US.UTF-8", "yi", "US", true},
      {"pa_PK", "pa", "PK", true},
      {"pa_IN", "pa", "IN", false},
      {"az_IR", "az", "IR", true},
      {"az_AZ", "az", "AZ", false},
      {"sd_IN@devanagari", "sd", "IN", false},
      {"ug_CN@latin", "ug", "CN", false},
      {"ms_MY@arabic", "ms", "MY", true},
      {"de_DEU", "de", "", false},
      {"de_1", "de", "", false},
      {"de_", "de", "", false},
  };
  for (const auto& one : cases) {
    const LanguageFacts facts = Language_From(one.Locale);
    EXPECT_EQ(facts.Language, one.Language) << one.Locale;
    EXPECT_EQ(facts.Country, one.Country) << one.Locale;
    EXPECT_EQ(facts.MidEast, one.MidEast) << one.Locale;
  }
}

TEST(LanguageFrom, KnowsNoneOfAPlainLocaleOrOfGarbage) {
  for (const char* name : {"", "C", "C.UTF-8", "POSIX", "_US", "e_US", "12_US", "/usr/share/locale", "..",
                           "@", "@euro", ".UTF-8"}) {
    const LanguageFacts facts = Language_From(name);
    EXPECT_EQ(facts.Language, "") << name;
    EXPECT_EQ(facts.Country, "") << name;
    EXPECT_FALSE(facts.MidEast.has_value()) << name;
  }
}

TEST(CharsetFrom, IsBehindThePoint) {
  EXPECT_EQ(Charset_From("ja_JP.eucJP"), "eucJP");
  EXPECT_EQ(Charset_From("de_DE.ISO-8859-15@euro"), "ISO-8859-15");
  EXPECT_EQ(Charset_From("de_DE@euro"), "");
  EXPECT_EQ(Charset_From("C"), "");
  EXPECT_EQ(Charset_From(""), "");
}

TEST(DoubleByte, IsSoForTheCodePagesOfEastAsia) {
  for (const char* charset :
       {"EUC-JP", "eucJP", "EUC-KR", "EUC-TW", "SJIS", "SHIFT_JIS", "Shift_JISX0213", "GBK", "GB2312",
        "GB18030", "BIG5", "Big5-HKSCS", "JOHAB", "UHC", "CP932", "CP949", "932", "ibm950", "windows-31j"}) {
    EXPECT_EQ(Double_Byte(charset), true) << charset;
  }
  for (const char* charset : {"UTF-8", "utf8", "ISO-8859-1", "ANSI_X3.4-1968", "KOI8-R", "CP1252", "TIS-620",
                              "CP9320", "IBM1932"}) {
    EXPECT_EQ(Double_Byte(charset), false) << charset;
  }
  EXPECT_FALSE(Double_Byte("").has_value());
  EXPECT_FALSE(Double_Byte("-_").has_value());
}

TEST(PrinterFrom, IsMakeAndModelOfTheDefault) {
  EXPECT_EQ(Printer_From("Dest Other printer-make-and-model=Wrong\n"
                         "Default Office/duplex copies=1 printer-info='The \\'big\\' one' "
                         "printer-make-and-model='Printer Maker 4000 Series' sides=one\n",
                         ""),
            "Printer Maker 4000 Series");
  EXPECT_EQ(Printer_From("Default Office printer-make-and-model=Plain\n", ""), "Plain");
  EXPECT_EQ(Printer_From("default Office printer-make-and-model=\"With \\\"quotes\\\"\"\n", ""),
            "With \"quotes\"");
}

TEST(PrinterFrom, IsTheNameWhereTheModelIsNotTold) {
  EXPECT_EQ(Printer_From("Default Office\n", ""), "Office");
  EXPECT_EQ(Printer_From("Default Office/duplex sides=two\n", ""), "Office");
  EXPECT_EQ(Printer_From("Default Office printer-make-and-model=\n", ""), "Office");
  EXPECT_EQ(Printer_From("Default Office xprinter-make-and-model=A printer-make-and-models=B\n", ""),
            "Office");
}

TEST(PrinterFrom, IsTheOneAskedFor) {
  const std::string text = "Default Office printer-make-and-model=A\nDest Home/x printer-make-and-model=B\n";
  EXPECT_EQ(Printer_From(text, "Home"), "B");
  EXPECT_EQ(Printer_From(text, "Office"), "A");
  EXPECT_EQ(Printer_From(text, "Elsewhere"), "Elsewhere");
}

TEST(PrinterFrom, IsEmptyWithoutADefault) {
  for (const char* text :
       {"", "\n", "Default", "Default \n", "Default /x\n", "Dest Office\n", "Defaults Office\n"}) {
    EXPECT_EQ(Printer_From(text, ""), "") << text;
  }
}

TEST(PrinterFrom, TakesQuotesThatDoNotEnd) {
  EXPECT_EQ(Printer_From("Default Office printer-make-and-model='No end", ""), "No end");
  EXPECT_EQ(Printer_From("Default Office a='no end printer-make-and-model=B", ""), "Office");
  EXPECT_EQ(Printer_From("Default Office a=\\", ""), "Office");
}

TEST(UserNameFrom, IsTheNameOfTheNumber) {
  const std::string passwd =
      "root:x:0:0:root:/root:/bin/bash\n+::::::\nanna:x:1000:1000:Anna,,,:/home/anna:/bin/sh\n";
  EXPECT_EQ(User_Name_From(passwd, 0), "root");
  EXPECT_EQ(User_Name_From(passwd, 1000), "anna");
  EXPECT_EQ(User_Name_From(passwd, 100), "");
  EXPECT_EQ(User_Name_From("", 0), "");
  EXPECT_EQ(User_Name_From("name\nname:x\nname:x:\n:x:0:\n", 0), "");
}

TEST(LibraryVersionFrom, StandsAtTheEndOfTheName) {
  const struct {
    const char* File;
    const char* Version;
  } cases[] = {
      {"libstdc++.so.6.0.30", "6.0.30"},
      {"libc.so.6", "6"},
      {"ld-linux-x86-64.so.2", "2"},
      {"libnss_files-2.31.so", "2.31"},
      {"libQt6Core.so.6.4.2", "6.4.2"},
      {"libfoo.so", ""},
      {"plugin-name.so", ""},
      {"libfoo.so.", ""},
      {"libfoo.so.1abi", ""},
      {"libfoo.so.1.", ""},
      {"libfoo.so..1", ""},
      {"libfoo-.so", ""},
      {"libx.so.1.so.2", "2"},
      {"", ""},
      {".so", ""},
      {"program", ""},
  };
  for (const auto& one : cases) EXPECT_EQ(Library_Version_From(one.File), one.Version) << one.File;
}

TEST(MountsFrom, TakesALineApart) {
  const std::vector<Mount> mounts =
      Mounts_From("/dev/sda1 / ext4 rw,relatime 0 0\n/dev/sdb1 /media/My\\040Disk\\011\\134x vfat rw 0 0\n");
  ASSERT_EQ(mounts.size(), 2U);
  EXPECT_EQ(mounts[0].Device, "/dev/sda1");
  EXPECT_EQ(mounts[0].Folder, "/");
  EXPECT_EQ(mounts[0].Type, "ext4");
  EXPECT_EQ(mounts[1].Folder, "/media/My Disk\t\\x");
  EXPECT_EQ(mounts[1].Type, "vfat");
}

TEST(MountsFrom, PassesOverWhatIsNoMount) {
  EXPECT_TRUE(Mounts_From("").empty());
  EXPECT_TRUE(Mounts_From("\n\n/dev/sda1\n/dev/sda1 /\n/dev/sda1 none swap sw\n   \n").empty());
}

TEST(MountsFrom, LeavesWhatIsNoOctalNumber) {
  const std::vector<Mount> mounts = Mounts_From("d /a\\04\\400\\x\\ t\nd /b\\ t");
  ASSERT_EQ(mounts.size(), 2U);
  EXPECT_EQ(mounts[0].Folder, "/a\\04\\400\\x\\");
  EXPECT_EQ(mounts[1].Folder, "/b\\");
}

std::string Drive_Texts(const std::string& mounts) {
  std::string texts;
  for (const MountedDrive& drive : Drives_From(Mounts_From(mounts))) {
    constexpr const char* kinds[] = {"floppy", "fixed", "network", "cd", "unknown"};
    texts +=
        drive.Folder + " " + kinds[static_cast<int>(drive.Kind)] + (drive.Answers ? "" : " waits") + "; ";
  }
  return texts;
}

TEST(DrivesFrom, AreTheRealFileSystems) {
  EXPECT_EQ(Drive_Texts("sysfs /sys sysfs rw 0 0\nproc /proc proc rw 0 0\nudev /dev devtmpfs rw 0 0\n"
                        "tmpfs /run tmpfs rw 0 0\n/dev/nvme0n1p2 / ext4 rw 0 0\n"
                        "cgroup2 /sys/fs/cgroup cgroup2 rw 0 0\n/dev/nvme0n1p1 /boot/efi vfat rw 0 0\n"
                        "binfmt_misc /proc/sys/fs/binfmt_misc binfmt_misc rw 0 0\n"),
            "/ fixed; /boot/efi fixed; ");
}

TEST(DrivesFrom, HaveTheirKinds) {
  EXPECT_EQ(Drive_Texts("/dev/fd0 /floppy vfat rw 0 0\n/dev/sr0 /media/cdrom iso9660 ro 0 0\n"
                        "/dev/sr1 /media/dvd udf ro 0 0\n/dev/loop3 /iso iso9660 ro 0 0\n"
                        "/dev/fuse /x fuse rw 0 0\n/dev/mapper/vg-home /home xfs rw 0 0\n"
                        "/dev/sdc1 /ntfs fuseblk rw 0 0\ntank/data /tank zfs rw 0 0\n"),
            "/floppy floppy; /media/cdrom cd; /media/dvd cd; /iso cd; /x unknown waits; /home fixed; "
            "/ntfs fixed; /tank fixed; ");
}

TEST(DrivesFrom, AreNeverAskedOverTheNetwork) {
  EXPECT_EQ(
      Drive_Texts("srv:/home /home nfs4 rw 0 0\nsrv:/old /old nfs rw 0 0\n//srv/share /share cifs rw 0 0\n"
                  "user@srv:/ /srv fuse.sshfs rw 0 0\nbackup /backup fuse.somebackup rw 0 0\n"
                  "host /host virtiofs rw 0 0\n"),
      "/home network waits; /old network waits; /share network waits; /srv network waits; "
      "/backup unknown waits; /host network waits; ");
}

TEST(DrivesFrom, AreNotAskedWhenTheWayLeadsOverTheNetwork) {
  EXPECT_EQ(Drive_Texts(
                "/dev/sda1 / ext4 rw 0 0\nsrv:/home /home nfs4 rw 0 0\n/dev/sdb1 /home/anna/usb vfat rw 0 0\n"
                "/dev/sdc1 /homework ext4 rw 0 0\n"),
            "/ fixed; /home network waits; /home/anna/usb fixed waits; /homework fixed; ");
  EXPECT_EQ(Drive_Texts("/etc/auto.misc /misc autofs rw 0 0\n/dev/sdb1 /misc/cd vfat rw 0 0\n"),
            "/misc/cd fixed waits; ");
  EXPECT_EQ(Drive_Texts("srv:/root / nfs rw 0 0\n/dev/sda1 /disk ext4 rw 0 0\n"),
            "/ network waits; /disk fixed waits; ");
}

TEST(DrivesFrom, NameADeviceOnce) {
  EXPECT_EQ(Drive_Texts("/dev/sda2 / btrfs rw,subvol=@ 0 0\n/dev/sda2 /home btrfs rw,subvol=@home 0 0\n"
                        "/dev/sda2 /bound btrfs rw 0 0\n"),
            "/ fixed; ");
}

TEST(DrivesFrom, LeaveOutWhatALaterMountHides) {
  EXPECT_EQ(Drive_Texts("/dev/sda1 /data ext4 rw 0 0\nsrv:/data /data nfs rw 0 0\n"),
            "/data network waits; ");
  EXPECT_EQ(
      Drive_Texts("/dev/sda1 /data ext4 rw 0 0\ntmpfs /data tmpfs rw 0 0\n/dev/sda1 /again ext4 rw 0 0\n"),
      "/again fixed; ");
  EXPECT_EQ(Drive_Texts("rootfs / rootfs rw 0 0\n/dev/sda1 / ext4 rw 0 0\n"), "/ fixed; ");
}

TEST(DrivesFrom, LeaveOutImagesOfPrograms) {
  EXPECT_EQ(Drive_Texts("/dev/loop0 /snap/core/1 squashfs ro 0 0\n/dev/loop1 /rom erofs ro 0 0\n"
                        "portal /run/user/1000/doc fuse.portal rw 0 0\n"
                        "gvfsd-fuse /run/user/1000/gvfs fuse.gvfsd-fuse rw 0 0\n"),
            "");
}

TEST(DrivesFrom, KnowAContainersRoot) {
  EXPECT_EQ(Drive_Texts("overlay / overlay rw 0 0\noverlay /var/lib/x overlay rw 0 0\n"), "/ fixed; ");
}

TEST(PathAnswers, IsFalseBelowANetworkFolderOnly) {
  const std::vector<Mount> mounts = Mounts_From("/dev/sda1 / ext4 rw 0 0\nsrv:/home /home nfs rw 0 0\n");
  EXPECT_FALSE(Path_Answers(mounts, "/home"));
  EXPECT_FALSE(Path_Answers(mounts, "/home/anna"));
  EXPECT_TRUE(Path_Answers(mounts, "/homes"));
  EXPECT_TRUE(Path_Answers(mounts, "/"));
  EXPECT_TRUE(Path_Answers({}, "/home"));
}

}  // namespace
}  // namespace hq
