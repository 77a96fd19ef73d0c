#include "PeakTestSupport.h"

#include "core/MediaData.h"
#include "core/ObjectPool.h"
#include "core/PeakData.h"
#include "platform/File.h"
#include "platform/Presentation.h"
#include "storage/Archive.h"
#include "storage/FileFilterManager.h"
#include "storage/MemoryIO.h"
#include "storage/PCMAudio.h"
#include "storage/TempFileManager.h"

#include <gtest/gtest.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>

namespace tw {
namespace {

namespace fs = std::filesystem;

// Opens by path go through the audio file filters: the format library of the build tree.
class PCMAudioOpenTest : public ::testing::Test {
protected:
    void SetUp() override {
        filters = std::make_unique<CFileFilterManager>();
        filters->Initialise(std::string(TW_OUTPUT_DIR) + "/FormatHost/libformathost.so");
        if (!filters->IsLoaded() || CFileFilterManager::Instance() != filters.get())
            GTEST_SKIP() << "the format library is not built";
        SetPresentation(presentation);
    }
    void TearDown() override {
        SetPresentation(std::make_shared<CHeadlessPresentation>());
        filters.reset();
    }
    std::string Wav(const std::string& name, int64_t frames = 3000) {
        const std::string path = home.root + "/" + name;
        test::WriteWav(path, test::PcmFormat(2, 44100, 16), frames,
                       [](int64_t f, int c) { return (f * 11 + c * 500) % 20000 - 10000; });
        return path;
    }

    test::ScratchHome home;
    std::unique_ptr<CFileFilterManager> filters;
    std::shared_ptr<CHeadlessPresentation> presentation = std::make_shared<CHeadlessPresentation>();
};

TEST_F(PCMAudioOpenTest, OpenShared_SamePathTwiceGivesOneStream_AndAnUnreadableFileItsMessage) {
    const std::string path = Wav("shared.wav");
    CPCMAudio* first = CPCMAudio::OpenShared(path);
    ASSERT_NE(first, nullptr);
    CPCMAudio* second = CPCMAudio::OpenShared(path);
    EXPECT_EQ(first, second);
    EXPECT_EQ(ObjectPool().GetRefCount(first), 2);
    EXPECT_EQ(first->GetLength(), 3000);

    std::unique_ptr<CMediaData> data(first->ReadFrames(CSection(2, 3)));
    EXPECT_EQ(data->GetFloats()[1], static_cast<float>((2 * 11 + 500) % 20000 - 10000) / 32768.0f);

    // Another spelling of the same file is another stream: names compare exactly.
    CPCMAudio* other = CPCMAudio::OpenShared(home.root + "/./shared.wav");
    EXPECT_NE(other, first);
    ObjectPool().Release(other);
    ObjectPool().Release(second);
    ObjectPool().Release(first);
    EXPECT_EQ(ObjectPool().GetRefCount(first), 0);
    EXPECT_TRUE(presentation->Boxes().empty());

    // No filter reads it: the read message, and the file stays.
    const std::string notes = home.root + "/notes.wav";
    std::ofstream(notes) << "not audio at all";
    EXPECT_EQ(CPCMAudio::OpenShared(notes), nullptr);
    EXPECT_EQ(presentation->Boxes(),
              std::vector<std::string>{"An error occurred while reading from the file " + notes + "."});
    EXPECT_TRUE(CFile::Exists(notes));
}

TEST_F(PCMAudioOpenTest, LoadReference_FileMovedBesideTheProject_IsFoundInTheCurrentDirectory) {
    const std::string original = Wav("moved.wav");
    MemoryBlock block = std::make_shared<std::vector<uint8_t>>(4096);
    CMemoryIO io;
    ASSERT_TRUE(io.Open(block, nullptr));
    {
        CPCMAudio* stream = CPCMAudio::OpenShared(original);
        ASSERT_NE(stream, nullptr);
        CArchive out(io, CArchive::store);
        ASSERT_TRUE(stream->SaveReference(out));
        ObjectPool().Release(stream);
    }
    fs::create_directory(home.root + "/project");
    fs::rename(original, home.root + "/project/moved.wav");
    const fs::path before = fs::current_path();
    fs::current_path(home.root + "/project");

    std::string path;
    CArchive strict(io, CArchive::load);
    EXPECT_EQ(CPCMAudio::LoadReference(strict, strict.ReadU8(), path, false), nullptr);
    EXPECT_EQ(path, original);

    CArchive lenient(io, CArchive::load);
    CPCMAudio* found = CPCMAudio::LoadReference(lenient, lenient.ReadU8(), path, true);
    fs::current_path(before);
    ASSERT_NE(found, nullptr);
    EXPECT_EQ(path, home.root + "/project/moved.wav");
    EXPECT_EQ(found->GetLength(), 3000);
    ObjectPool().Release(found);
}

TEST_F(PCMAudioOpenTest, MoveToTemporary_TheMovedBytesStayReadable_AndAFileNoFilterReadsIsPutBack) {
    const std::string path = Wav("overwrite.wav", 500);
    CTempFileManager temp;
    std::unique_ptr<IBasicIO> moved(temp.MoveToTemporary(path));
    ASSERT_TRUE(moved);
    EXPECT_FALSE(CFile::Exists(path));
    const std::string name = moved->GetFileName();
    EXPECT_NE(name.find("~audio"), std::string::npos);
    EXPECT_EQ(name.substr(name.size() - 4), ".wav");
    EXPECT_EQ(moved->GetLength(), 500 * 4);

    CPCMAudio stream;
    ASSERT_TRUE(stream.Attach(moved.release()));
    EXPECT_TRUE(stream.IsTemporary());
    std::unique_ptr<CMediaData> data(stream.ReadFrames(CSection(499, 500)));
    EXPECT_EQ(data->GetFloats()[0], static_cast<float>((499 * 11) % 20000 - 10000) / 32768.0f);

    // A file no filter reads is put back.
    const std::string text = home.root + "/plain.txt";
    std::ofstream(text) << "keep me";
    EXPECT_EQ(temp.MoveToTemporary(text), nullptr);
    ASSERT_TRUE(CFile::Exists(text));
    EXPECT_EQ(test::ReadWholeFile(text).size(), 7u);
}

TEST_F(PCMAudioOpenTest, Reopen_BeforeAnOverwrite_KeepsSamplesAndPeaksAndFreesThePath) {
    const std::string path = Wav("reopen.wav", 256 * 4);
    std::unique_ptr<CPCMAudio> stream(CPCMAudio::Open(path));
    ASSERT_TRUE(stream);
    const std::string peakFile = stream->GetPeakSource()->GetFileName();
    std::unique_ptr<CPeakData> before(stream->ReadPeaks(CSection(0, 1024), true));
    delete stream->ReadFrames(CSection(0, 10));

    ASSERT_TRUE(stream->Reopen());
    EXPECT_FALSE(CFile::Exists(path));
    EXPECT_TRUE(stream->IsTemporary());
    EXPECT_NE(stream->GetFileName(), path);
    EXPECT_TRUE(stream->GetPeakSource()->DeleteOnClose);
    EXPECT_TRUE(CFile::Exists(peakFile)); // kept for the new file's header

    // Reading on where the last read stopped must not trust the old source's position.
    std::unique_ptr<CMediaData> data(stream->ReadFrames(CSection(10, 11)));
    EXPECT_EQ(data->GetFloats()[0], static_cast<float>((10 * 11) % 20000 - 10000) / 32768.0f);
    std::unique_ptr<CPeakData> after(stream->ReadPeaks(CSection(0, 1024), true));
    ASSERT_EQ(after->GetCount(), 4);
    EXPECT_EQ(std::memcmp(after->GetData(), before->GetData(), after->GetByteSize()), 0);

    const std::string temporary = stream->GetFileName();
    stream.reset();
    EXPECT_FALSE(CFile::Exists(temporary));
}

} // namespace
} // namespace tw
