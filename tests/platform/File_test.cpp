#include "platform/File.h"

#include "TestEnvironment.h"

#include <cerrno>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

using namespace tw;

TEST(File, WriteSeekRead_GivesBackWhatWasWritten) {
    const std::string path = test::FreshFolder("file") + "data.bin";
    CFile file(path, CFile::modeCreate | CFile::modeReadWrite);
    const char bytes[] = "0123456789";
    file.Write(bytes, 10);
    EXPECT_EQ(file.GetLength(), 10u);
    EXPECT_EQ(file.Seek(-4, CFile::end), 6u);
    char back[8] = {};
    EXPECT_EQ(file.Read(back, 8), 4u); // short at the end
    EXPECT_EQ(std::string(back, 4), "6789");
    file.SetLength(3);
    EXPECT_EQ(file.GetLength(), 3u);
}

TEST(File, ModeCreate_TruncatesUnlessNoTruncateIsGiven) {
    const std::string path = test::FreshFolder("file") + "keep.bin";
    test::WriteWholeFile(path, "existing");
    { CFile keep(path, CFile::modeCreate | CFile::modeNoTruncate | CFile::modeWrite); }
    EXPECT_EQ(test::ReadWholeFile(path), "existing");
    { CFile wipe(path, CFile::modeCreate | CFile::modeWrite); }
    EXPECT_EQ(test::ReadWholeFile(path), "");
}

TEST(File, ShareExclusive_HeldElsewhere_IsASharingViolationAndKeepsTheData) {
    const std::string path = test::FreshFolder("file") + "held.vtf";
    CFile holder(path, CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive);
    holder.Write("recovery", 8);

    // Another process tries the same exclusive open, with a truncating create.
    const pid_t child = ::fork();
    if (child == 0) {
        CFile other;
        CFileException error(CFileException::none, 0, "");
        const bool opened =
            other.Open(path, CFile::modeCreate | CFile::modeReadWrite | CFile::shareExclusive, &error);
        ::_exit(!opened && error.m_cause == CFileException::sharingViolation ? 0 : 1);
    }
    int status = 0;
    ::waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
    EXPECT_EQ(holder.GetLength(), 8u) << "a refused open must not truncate";

    // Once the holder closes, the lock is free again.
    holder.Close();
    CFile next;
    EXPECT_TRUE(next.Open(path, CFile::modeReadWrite | CFile::shareExclusive));
}

TEST(File, OpenFailures_MapToTheirCauses) {
    const std::string folder = test::FreshFolder("file");
    CFile file;
    CFileException error(CFileException::none, 0, "");
    EXPECT_FALSE(file.Open(folder + "missing.wav", CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::fileNotFound);
    EXPECT_EQ(error.m_path, folder + "missing.wav");

    test::WriteWholeFile(folder + "plain", "x");
    EXPECT_FALSE(file.Open(folder + "plain/inside.wav", CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::badPath);

    EXPECT_FALSE(file.Open(folder, CFile::modeRead, &error));
    EXPECT_EQ(error.m_cause, CFileException::accessDenied);

    if (::geteuid() != 0) { // root reads everything
        test::WriteWholeFile(folder + "secret", "x");
        ::chmod((folder + "secret").c_str(), 0);
        EXPECT_FALSE(file.Open(folder + "secret", CFile::modeRead, &error));
        EXPECT_EQ(error.m_cause, CFileException::accessDenied);
    }
    EXPECT_THROW(CFile(folder + "missing.wav", CFile::modeRead), CFileException);
}

TEST(File, WriteToAFullDevice_ThrowsDiskFull) {
    CFile full;
    if (!full.Open("/dev/full", CFile::modeWrite))
        GTEST_SKIP() << "no /dev/full";
    try {
        full.Write("abc", 3);
        FAIL() << "writing to a full device succeeded";
    } catch (const CFileException& e) {
        EXPECT_EQ(e.m_cause, CFileException::diskFull);
        EXPECT_EQ(e.m_osError, ENOSPC);
    }
}

TEST(File, GetStatus_GivesSizeAndWindowsFileTime) {
    const std::string path = test::FreshFolder("file") + "stamp.bin";
    test::WriteWholeFile(path, "12345");
    // 2001-09-09 01:46:40.1234567 UTC.
    timespec times[2] = {{1000000000, 123456789}, {1000000000, 123456789}};
    ASSERT_EQ(::utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
    uint64_t size = 0;
    int64_t fileTime = 0;
    ASSERT_TRUE(CFile::GetStatus(path, size, fileTime));
    EXPECT_EQ(size, 5u);
    EXPECT_EQ(fileTime, (1000000000LL + 11644473600LL) * 10000000LL + 1234567);
    EXPECT_EQ(CFile::ToFileTime(0, 0), 116444736000000000LL); // the POSIX epoch in FILETIME
    EXPECT_FALSE(CFile::GetStatus(path + ".none", size, fileTime));
}

TEST(File, StaticHelpers_ReportWhatIsThere) {
    const std::string folder = test::FreshFolder("file");
    const std::string a = folder + "a", b = folder + "b";
    test::WriteWholeFile(a, "x");
    EXPECT_TRUE(CFile::Exists(a));
    EXPECT_FALSE(CFile::IsDirectory(a));
    EXPECT_TRUE(CFile::IsDirectory(folder));
    EXPECT_TRUE(CFile::Rename(a, b));
    EXPECT_FALSE(CFile::Exists(a));
    EXPECT_TRUE(CFile::Remove(b));
    EXPECT_FALSE(CFile::Remove(b));
    EXPECT_EQ(errno, ENOENT);
}
