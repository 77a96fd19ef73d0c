// The working container: header and regions, state of a document with streams inside and outside
// the container, on disk and in memory, history lists through the history interface, copies and
// projects, the lost-container search and the fallback for a temporary folder that refuses.
#include "BodyTestSupport.h"

#include "core/PeakData.h"
#include "platform/File.h"
#include "platform/Paths.h"
#include "storage/Archive.h"
#include "storage/DirectoryManager.h"
#include "storage/DocumentBody.h"
#include "storage/MemFileIO.h"
#include "storage/PeakFileManager.h"
#include "storage/RaffHistory.h"
#include "storage/RaffIO.h"
#include "storage/RaffParser.h"
#include "storage/TempFileManager.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <unistd.h>

namespace tw {
namespace {

namespace fs = std::filesystem;

// A stand-in for the view's lists: each entry is a caption and a document of events.
class TestHistory : public IRaffHistory {
public:
    struct Entry {
        std::string caption;
        std::unique_ptr<CEditedMedia> media;
    };
    ~TestHistory() override { Clear(); }

    void Push(List list, const std::string& caption, CEditedMedia& from) {
        Entry entry{caption, std::make_unique<CEditedMedia>()};
        from.CopyTo(*entry.media, CSection(0, from.GetLength()));
        lists[list].push_back(std::move(entry));
    }
    uint32_t GetEntryCount(List list) override { return static_cast<uint32_t>(lists[list].size()); }
    void CollectReferences(CBodyIndex& index) override {
        for (auto& list : lists)
            for (Entry& entry : list)
                for (int32_t i = 0; i < entry.media->GetSourceCount(); ++i)
                    index.streams.push_back(entry.media->GetSourceAt(i));
    }
    void SaveEntry(List list, uint32_t at, CArchive& archive, const CBodyIndex& index) override {
        Entry& entry = lists[list][at];
        archive.WriteString(entry.caption);
        CBodyIndex copy = index;
        if (!SaveBody(archive, *entry.media, kBodyEvents, &copy))
            throw CArchiveException(CArchiveException::badIndex);
    }
    void Clear() override {
        for (auto& list : lists) {
            for (Entry& entry : list)
                entry.media->Clear();
            list.clear();
        }
    }
    bool LoadEntry(List list, CArchive& archive, CEditedMedia& master,
                   const CBodyLoadContext& context) override {
        Entry entry{archive.ReadString(), std::make_unique<CEditedMedia>()};
        for (int32_t i = 0; i < master.GetSourceCount(); ++i)
            entry.media->AddSource(master.GetSourceAt(i));
        for (int32_t i = 0; i < master.GetTransformCount(); ++i)
            entry.media->AddTransform(master.GetTransformAt(i));
        if (!LoadBody(archive, *entry.media, kBodyEvents, context)) {
            entry.media->Clear();
            return false;
        }
        lists[list].push_back(std::move(entry));
        return true;
    }

    std::vector<Entry> lists[2];
};

class RaffParserTest : public test::BodyTest {
protected:
    std::string TempFolder() { return CDirectoryManager().GetDirectory(3); }

    // A stream whose samples and peaks were poured into the container.
    CPCMAudio* AddInside(CRaffParser& parser, CEditedMedia& media, const std::string& wav, int64_t frames) {
        const std::string path = Wav(wav, frames);
        std::unique_ptr<IBasicIO> samples(test::OpenWavSamples(path, test::PcmFormat(2, 44100, 16)));
        std::unique_ptr<CPCMAudio> source(CPCMAudio::Open(path));
        EXPECT_NE(source, nullptr);
        if (!source)
            return nullptr;
        CRaffIO* data = parser.ImportStream(*samples);
        CRaffIO* peak = parser.ImportStream(*source->GetPeakSource());
        EXPECT_NE(data, nullptr);
        EXPECT_NE(peak, nullptr);
        auto* stream = new CPCMAudio;
        EXPECT_TRUE(stream->Attach(data, peak));
        ObjectPool().AddRef(stream);
        media.AddMedia(stream, media.GetLength());
        ObjectPool().Release(stream);
        return stream;
    }

    static std::vector<float> Samples(CMediaStream& stream) {
        std::unique_ptr<CMediaData> block(stream.ReadFrames(CSection(0, stream.GetLength())));
        return std::vector<float>(block->GetFloats(), block->GetFloats() + block->GetByteCount() / 4);
    }
    static std::vector<float> Peaks(CMediaStream& stream) {
        std::unique_ptr<CPeakData> peaks(stream.ReadPeaks(CSection(0, stream.GetLength()), true));
        const float* rows = reinterpret_cast<const float*>(peaks->GetData());
        return std::vector<float>(rows, rows + peaks->GetByteSize() / 4);
    }
};

TEST_F(RaffParserTest, ANewEmptyDocument_IsAHeaderAndEmptyCounts_AndReopensEmpty) {
    CRaffParser parser;
    ASSERT_TRUE(parser.CreateContainer());
    const std::string path = parser.GetPath();
    EXPECT_EQ(FolderOf(path), TempFolder());
    EXPECT_EQ(FileNameOf(path).rfind("~vtw_temp", 0), 0u);
    EXPECT_EQ(ExtensionOf(path), "vcg");

    CEditedMedia media;
    ASSERT_TRUE(parser.SaveState(media, nullptr, CSection(5, 6), CSection(7, 8)));
    const std::vector<uint8_t> bytes = test::ReadWholeFile(path);
    // "RAFF", version 3 (16 bits), stream start, state offset and state end, view and selection
    // (32 bits each, little-endian), then the state: six empty counts.
    std::vector<uint8_t> expected{'R', 'A', 'F', 'F', 3, 0};
    for (uint8_t field : {34, 34, 34, 5, 6, 7, 8})
        expected.insert(expected.end(), {field, 0, 0, 0});
    expected.resize(34 + 6 * 4, 0);
    EXPECT_EQ(bytes, expected);

    // Held by this parser: nobody else opens it in place.
    CRaffParser other;
    CEditedMedia media2;
    CSection view, selection;
    EXPECT_FALSE(other.LoadContainer(path, media2, nullptr, view, selection));

    const std::string project = home.root + "/empty.vtf";
    ASSERT_TRUE(parser.SaveCopy(project));
    ASSERT_TRUE(other.LoadContainer(project, media2, nullptr, view, selection));
    EXPECT_EQ(media2.GetEventCount(), 0);
    EXPECT_EQ(view, CSection(5, 6));
    EXPECT_EQ(selection, CSection(7, 8));
    EXPECT_NE(other.GetPath(), project); // worked on as a copy
    EXPECT_TRUE(CFile::Exists(other.GetPath()));

    const std::string copy = other.GetPath();
    other.Close();
    parser.Close();
    EXPECT_FALSE(CFile::Exists(copy));
    EXPECT_FALSE(CFile::Exists(path));
    EXPECT_TRUE(CFile::Exists(project));
}

TEST_F(RaffParserTest, StreamsInsideAndOutside_SurviveAProjectOnDisk) {
    const std::string project = home.root + "/song.vtf";
    std::vector<float> insideSamples, insidePeaks, outsideSamples;
    CEditedMedia media;
    {
        CRaffParser parser;
        ASSERT_TRUE(parser.CreateContainer());
        CPCMAudio* inside = AddInside(parser, media, "inside.wav", 3000);
        ASSERT_NE(inside, nullptr);
        AddFile(media, Wav("outside.wav", 2000));
        media.ApplyTransform(CSection(100, 4000), NewScale(2.0f, 1.0f, false));
        media.DeleteSection(CSection(10, 20), true);
        media.GetLabels().Add(1234, 0, "a", "b");
        insideSamples = Samples(*inside);
        insidePeaks = Peaks(*inside);
        outsideSamples = Samples(*media.GetSourceAt(1));
        ASSERT_GT(insidePeaks.size(), 40u);

        // A stream record of kind 0 names its regions.
        CMemFileIO record;
        CArchive out(record, CArchive::store);
        ASSERT_TRUE(inside->SaveReference(out));
        const std::vector<uint8_t> bytes = record.Detach();
        ASSERT_EQ(bytes.size(), 1u + 18 + 12);
        EXPECT_EQ(bytes[0], 0);
        EXPECT_EQ(bytes[19] | bytes[20] << 8, 3000);
        EXPECT_EQ(bytes[27] | bytes[28] << 8, 34); // the samples came in first

        ASSERT_TRUE(parser.SaveState(media, nullptr, CSection(0, 5000), CSection(10, 10)));
        ASSERT_TRUE(parser.SaveCopy(project));
    }
    std::vector<CSection> sections;
    for (CMediaEvent* event : media.GetEvents())
        sections.push_back(event->GetSourceSection());
    // The document still reads its container's stream after the parser has gone.
    EXPECT_EQ(Samples(*media.GetSourceAt(0)), insideSamples);
    media.Clear();

    CRaffParser parser;
    CEditedMedia loaded;
    CSection view, selection;
    ASSERT_TRUE(parser.LoadContainer(project, loaded, nullptr, view, selection));
    EXPECT_EQ(view, CSection(0, 5000));
    ASSERT_EQ(loaded.GetSourceCount(), 2);
    EXPECT_EQ(Samples(*loaded.GetSourceAt(0)), insideSamples);
    EXPECT_EQ(Peaks(*loaded.GetSourceAt(0)), insidePeaks);
    EXPECT_EQ(Samples(*loaded.GetSourceAt(1)), outsideSamples);
    EXPECT_EQ(loaded.GetSourceAt(0)->GetNativeFormat()->nChannels, 2);
    ASSERT_EQ(loaded.GetTransformCount(), 1);
    EXPECT_EQ(static_cast<test::ScaleTransform*>(loaded.GetTransformAt(0))->m_gain, 2.0f);
    EXPECT_EQ(loaded.GetLabels().GetCount(), 1);
    ASSERT_EQ(loaded.GetEventCount(), static_cast<int32_t>(sections.size()));
    for (int32_t i = 0; i < loaded.GetEventCount(); ++i)
        EXPECT_EQ(loaded.GetEventAt(i)->GetSourceSection(), sections[static_cast<size_t>(i)]);
    loaded.Clear();
}

TEST_F(RaffParserTest, AContainerInMemory_CarriesItsStreamsInside) {
    CMemFileIO file;
    std::vector<float> samples;
    {
        CRaffParser parser;
        parser.AttachContainer(&file);
        CEditedMedia media;
        CPCMAudio* inside = AddInside(parser, media, "memory.wav", 1000);
        ASSERT_NE(inside, nullptr);
        samples = Samples(*inside);
        ASSERT_TRUE(parser.SaveState(media, nullptr, CSection(), CSection()));
        EXPECT_EQ(parser.GetPath(), "");
        media.Clear();
    }
    const std::vector<uint8_t> bytes = file.Detach();
    CMemFileIO copy(bytes.data(), bytes.size());
    CRaffParser parser;
    parser.AttachContainer(&copy);
    CEditedMedia media;
    CSection view, selection;
    ASSERT_TRUE(parser.LoadState(media, nullptr, view, selection, false));
    ASSERT_EQ(media.GetSourceCount(), 1);
    EXPECT_EQ(Samples(*media.GetSourceAt(0)), samples);
    EXPECT_EQ(media.GetLength(), 1000);
    media.Clear();
}

TEST_F(RaffParserTest, HistoryLists_AreStoredBehindTheState_AndNameStreamsTheDocumentDropped) {
    CMemFileIO file;
    TestHistory history;
    {
        CRaffParser parser;
        parser.AttachContainer(&file);
        CEditedMedia media;
        AddFile(media, Wav("base.wav", 1000));
        history.Push(IRaffHistory::undoList, "Original", media);
        // An inserted file that was undone: only the redo entry still knows its stream.
        CEditedMedia later;
        AddFile(later, Wav("inserted.wav", 500));
        later.InsertMedia(media, 0, false);
        history.Push(IRaffHistory::redoList, "File Inserted", later);
        later.Clear();
        ASSERT_TRUE(parser.SaveState(media, &history, CSection(), CSection()));
        media.Clear();
        history.Clear();
    }
    CRaffParser parser;
    parser.AttachContainer(&file);
    CEditedMedia media;
    CSection view, selection;
    ASSERT_TRUE(parser.LoadState(media, &history, view, selection, false));
    EXPECT_EQ(media.GetLength(), 1000);
    EXPECT_EQ(media.GetSourceCount(), 2); // the redo entry's stream is listed with the document
    ASSERT_EQ(history.lists[0].size(), 1u);
    ASSERT_EQ(history.lists[1].size(), 1u);
    EXPECT_EQ(history.lists[0][0].caption, "Original");
    EXPECT_EQ(history.lists[1][0].caption, "File Inserted");
    EXPECT_EQ(history.lists[1][0].media->GetLength(), 1500);
    const CEditedMedia& redo = *history.lists[1][0].media;
    EXPECT_EQ(redo.GetEventAt(redo.GetEventCount() - 1)->GetStream(), media.GetSourceAt(1));

    // Loaded without a history, the same state gives the document alone.
    CEditedMedia alone;
    ASSERT_TRUE(parser.LoadState(alone, nullptr, view, selection, false));
    EXPECT_EQ(alone.GetLength(), 1000);
    alone.Clear();
    history.Clear();
    media.Clear();
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);
}

TEST_F(RaffParserTest, VersionOneContainers_ReadTransformsWithoutTheSecondId) {
    const std::string path = home.root + "/old.vtf";
    {
        CFileIO io(path, CFile::modeCreate | CFile::modeReadWrite, 0);
        CArchive out(io, CArchive::store);
        out.WriteBytes("RAFF", 4);
        out.WriteU16(1);
        for (uint32_t v : {34u, 34u, 34u, 0u, 0u, 0u, 0u})
            out.WriteU32(v);
        out.WriteU32(0); // streams
        out.WriteU32(1); // transforms
        test::WriteScaleClassId(out);
        out.WriteU32(0);
        out.WriteU8(0);
        for (int i = 0; i < 4; ++i)
            out.WriteU32(0); // events, labels, undo, redo
    }
    CRaffParser parser;
    CEditedMedia media;
    CSection view, selection;
    ASSERT_TRUE(parser.LoadContainer(path, media, nullptr, view, selection));
    EXPECT_EQ(parser.GetVersion(), 1);
    ASSERT_EQ(media.GetTransformCount(), 1);
    EXPECT_TRUE(test::SameGuid(static_cast<test::ScaleTransform*>(media.GetTransformAt(0))->m_subId, GUID{}));
    media.Clear();
}

TEST_F(RaffParserTest, ForeignDamagedAndNewerFiles_AreRefusedAndLeaveNoContainerBehind) {
    CEditedMedia media;
    AddFile(media, Wav("damage.wav", 100));
    std::vector<uint8_t> good;
    {
        CMemFileIO file;
        CRaffParser parser;
        parser.AttachContainer(&file);
        ASSERT_TRUE(parser.SaveState(media, nullptr, CSection(), CSection()));
        good = file.Detach();
    }
    media.Clear();
    auto write = [&](const std::vector<uint8_t>& bytes) {
        const std::string path = home.root + "/bad.vtf";
        std::ofstream(path, std::ios::binary | std::ios::trunc)
            .write(reinterpret_cast<const char*>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
        return path;
    };
    auto expectRefused = [&](const std::vector<uint8_t>& bytes, const char* what) {
        CRaffParser parser;
        CEditedMedia loaded;
        CSection view, selection;
        EXPECT_FALSE(parser.LoadContainer(write(bytes), loaded, nullptr, view, selection)) << what;
        EXPECT_EQ(loaded.GetSourceCount(), 0) << what;
        EXPECT_FALSE(parser.IsOpen()) << what;
    };
    std::vector<uint8_t> bytes = good;
    bytes[0] = 'X';
    expectRefused(bytes, "magic");
    bytes = good;
    bytes[4] = 4;
    expectRefused(bytes, "version 4");
    bytes = good;
    bytes[10] = 0xF0; // state offset far behind the end
    expectRefused(bytes, "state offset");
    // Cut anywhere before the history counts (which a document without history never reads).
    for (size_t length = 0; length < good.size() - 8; length += 3)
        expectRefused(std::vector<uint8_t>(good.begin(), good.begin() + static_cast<ptrdiff_t>(length)),
                      "truncated");
    EXPECT_EQ(ObjectPool().GetCount(), poolBefore);

    // None of the failed loads left a working container for the crash guard to find.
    std::vector<std::string> lost;
    CRaffParser::FindLostContainers(lost);
    EXPECT_TRUE(lost.empty());
}

TEST_F(RaffParserTest, AProjectWhoseSourceMoved_FindsItInTheCurrentDirectory) {
    const std::string project = home.root + "/moved.vtf";
    const std::string original = Wav("travelling.wav", 800);
    {
        CRaffParser parser;
        ASSERT_TRUE(parser.CreateContainer());
        CEditedMedia media;
        AddFile(media, original);
        ASSERT_TRUE(parser.SaveState(media, nullptr, CSection(), CSection()));
        ASSERT_TRUE(parser.SaveCopy(project));
        media.Clear();
    }
    const std::string elsewhere = home.root + "/elsewhere";
    fs::create_directories(elsewhere);
    fs::rename(original, elsewhere + "/travelling.wav");
    const fs::path before = fs::current_path();
    fs::current_path(elsewhere);

    CRaffParser parser;
    CEditedMedia media;
    CSection view, selection;
    const bool loaded = parser.LoadContainer(project, media, nullptr, view, selection, true);
    CEditedMedia strict;
    CRaffParser other;
    const bool loadedStrictly = other.LoadContainer(project, strict, nullptr, view, selection, false);
    fs::current_path(before);
    ASSERT_TRUE(loaded);
    EXPECT_FALSE(loadedStrictly);
    ASSERT_EQ(media.GetSourceCount(), 1);
    EXPECT_EQ(static_cast<CPCMAudio*>(media.GetSourceAt(0))->GetFileName(), elsewhere + "/travelling.wav");
    EXPECT_EQ(media.GetLength(), 800);
    media.Clear();
}

TEST_F(RaffParserTest, RegionsMoveTheStateBehindThem_AndImportCopiesEveryByte) {
    CMemFileIO file;
    CRaffParser parser;
    parser.AttachContainer(&file);
    std::vector<uint8_t> big(200000);
    for (size_t i = 0; i < big.size(); ++i)
        big[i] = static_cast<uint8_t>(i * 31 + i / 977);
    CMemFileIO source(big.data(), big.size());
    source.Format = test::PcmFormat(1, 8000, 8);
    std::unique_ptr<CRaffIO> region(parser.ImportStream(source));
    ASSERT_NE(region, nullptr);
    EXPECT_EQ(region->GetBaseOffset(), 34);
    EXPECT_EQ(region->GetLength(), 200000);
    const uint32_t rate = region->Format.nSamplesPerSec; // the record is packed
    EXPECT_EQ(rate, 8000u);
    EXPECT_EQ(parser.GetStateOffset(), 34 + 200000);
    std::vector<uint8_t> back(big.size());
    region->Seek(0);
    ASSERT_TRUE(region->Read(back.data(), static_cast<uint32_t>(back.size())));
    EXPECT_EQ(back, big);

    // A fixed window takes no byte past its end; an empty source makes an empty region.
    region->Seek(199999);
    const uint8_t two[2] = {1, 2};
    EXPECT_TRUE(region->Write(two, 2));
    region->Seek(200000);
    EXPECT_FALSE(region->Write(two, 1));
    CMemFileIO nothing;
    std::unique_ptr<CRaffIO> empty(parser.ImportStream(nothing));
    ASSERT_NE(empty, nullptr);
    EXPECT_EQ(empty->GetLength(), 0);
    EXPECT_EQ(empty->GetBaseOffset(), 34 + 200000);
}

TEST_F(RaffParserTest, LostContainers_SkipHeldFilesAndRemoveEmptyOnes) {
    const std::string folder = TempFolder();
    auto make = [&](const std::string& name, const std::string& content) {
        std::ofstream(folder + name, std::ios::binary) << content;
        return folder + name;
    };
    const std::string lost = make("~vtw_temp17.vcg", "RAFF and more");
    const std::string lost2 = make("~vtw_temp3.vcg", "RAFF");
    const std::string empty = make("~vtw_temp5.vcg", "");
    const std::string heldEmpty = make("~vtw_temp9.vcg", "");
    const std::string other = make("notes~vtw_temp1.vcg", "x");
    CFile holder;
    ASSERT_TRUE(holder.Open(heldEmpty, CFile::modeReadWrite | CFile::shareExclusive));
    CRaffParser running;
    ASSERT_TRUE(running.CreateContainer());
    CEditedMedia media;
    ASSERT_TRUE(running.SaveState(media, nullptr, CSection(), CSection()));

    std::vector<std::string> list = {"already.vcg"};
    CRaffParser::FindLostContainers(list);
    ASSERT_EQ(list.size(), 3u);
    EXPECT_EQ(list[0], lost2); // names walked in order, each put at the head
    EXPECT_EQ(list[1], lost);
    EXPECT_EQ(list[2], "already.vcg");
    EXPECT_FALSE(CFile::Exists(empty));
    EXPECT_TRUE(CFile::Exists(heldEmpty));
    EXPECT_TRUE(CFile::Exists(other));
    EXPECT_TRUE(CFile::Exists(running.GetPath()));
}

TEST_F(RaffParserTest, ATemporaryFolderThatRefuses_FallsBackToTheSystemFolderWithAMessage) {
    const std::string blocker = home.root + "/not-a-folder";
    std::ofstream(blocker) << "a file where a folder should be";
    CDirectoryManager directories;
    directories.SetDirectory(3, blocker + "/temp");

    CRaffParser parser;
    ASSERT_TRUE(parser.CreateContainer());
    const std::vector<std::string> boxes = presentation->Boxes();
    ASSERT_EQ(boxes.size(), 1u);
    EXPECT_EQ(boxes[0], "Unable to create temporary files in " + blocker +
                            "/temp. Using default windows directory for temporary files instead.");
    EXPECT_EQ(directories.GetDirectory(3), SystemTempFolder());
    EXPECT_EQ(FolderOf(parser.GetPath()), SystemTempFolder());
    const std::string made = parser.GetPath();
    parser.Close();
    EXPECT_FALSE(CFile::Exists(made));
}

} // namespace
} // namespace tw

namespace tw {
namespace {

TEST_F(RaffParserTest, TemporaryStreams_MoveIntoTheContainer_AndTheUsersFilesStayOutside) {
    CRaffParser parser;
    ASSERT_TRUE(parser.CreateContainer());
    CEditedMedia media;
    AddFile(media, Wav("users.wav", 700));

    // A recording-like stream: samples and peaks in temporary files.
    CFileIO* data = CTempFileManager().CreateFile();
    const WAVEFORMATEX format = test::PcmFormat(1, 8000, 16);
    std::vector<int16_t> samples(3000);
    for (size_t i = 0; i < samples.size(); ++i)
        samples[i] = static_cast<int16_t>(i * 11);
    ASSERT_TRUE(data->Write(samples.data(), static_cast<uint32_t>(samples.size() * 2)));
    data->Format = format;
    const std::string dataPath = data->GetFileName();
    IBasicIO* peaks = CPeakFileManager().CreatePeakFile("");
    ASSERT_NE(peaks, nullptr);
    std::vector<float> rows(3000 / 256 * 2, 0.25f);
    ASSERT_TRUE(peaks->Write(rows.data(), static_cast<uint32_t>(rows.size() * 4)));
    const std::string peakPath = peaks->GetFileName();
    auto* recorded = new CPCMAudio;
    ASSERT_TRUE(recorded->Attach(data, peaks));
    ObjectPool().AddRef(recorded);
    media.AddMedia(recorded, media.GetLength());
    ObjectPool().Release(recorded);
    const std::vector<float> before = Samples(*recorded);
    ASSERT_TRUE(recorded->IsTemporary());

    ASSERT_TRUE(RelocateTemporaries(media, parser));
    EXPECT_EQ(recorded->GetDataSource()->GetTypeName(), "RaffIO");
    EXPECT_EQ(recorded->GetPeakSource()->GetTypeName(), "RaffIO");
    EXPECT_FALSE(recorded->IsTemporary());
    EXPECT_FALSE(CFile::Exists(dataPath));
    if (!peakPath.empty())
        EXPECT_FALSE(CFile::Exists(peakPath));
    EXPECT_EQ(Samples(*recorded), before);
    EXPECT_EQ(Peaks(*recorded)[0], 0.25f);
    EXPECT_NE(static_cast<CPCMAudio*>(media.GetSourceAt(0))->GetDataSource()->GetTypeName(), "RaffIO");

    // Saved and reopened as a project, the recording comes from inside.
    const std::string project = home.root + "/recorded.vtf";
    ASSERT_TRUE(parser.SaveState(media, nullptr, CSection(), CSection()));
    ASSERT_TRUE(parser.SaveCopy(project));
    media.Clear();
    CRaffParser other;
    CEditedMedia loaded;
    CSection view, selection;
    ASSERT_TRUE(other.LoadContainer(project, loaded, nullptr, view, selection));
    ASSERT_EQ(loaded.GetSourceCount(), 2);
    EXPECT_EQ(Samples(*loaded.GetSourceAt(1)), before);
    loaded.Clear();
}

} // namespace
} // namespace tw

namespace tw {
namespace {

TEST_F(RaffParserTest, AStreamPastedFromAnotherContainer_IsCopiedInBeforeTheStateNamesIt) {
    const std::string project = home.root + "/pasted.vtf";
    std::vector<float> before;
    {
        auto first = std::make_unique<CRaffParser>();
        ASSERT_TRUE(first->CreateContainer());
        CEditedMedia source;
        CPCMAudio* inside = AddInside(*first, source, "first.wav", 1500);
        ASSERT_NE(inside, nullptr);
        before = Samples(*inside);

        CRaffParser second;
        ASSERT_TRUE(second.CreateContainer());
        CEditedMedia pasted;
        AddFile(pasted, Wav("padding.wav", 100)); // so that the regions of both differ
        pasted.InsertMedia(source, 0, true);
        ASSERT_TRUE(second.SaveState(pasted, nullptr, CSection(), CSection()));
        EXPECT_EQ(static_cast<CRaffIO*>(inside->GetDataSource())->GetFile(), second.GetFile());
        ASSERT_TRUE(second.SaveCopy(project));
        first.reset(); // the first document's container is gone
        EXPECT_EQ(Samples(*inside), before);
        source.Clear();
        pasted.Clear();
    }
    CRaffParser parser;
    CEditedMedia loaded;
    CSection view, selection;
    ASSERT_TRUE(parser.LoadContainer(project, loaded, nullptr, view, selection));
    ASSERT_EQ(loaded.GetSourceCount(), 2);
    EXPECT_EQ(Samples(*loaded.GetSourceAt(1)), before);
    loaded.Clear();
}

} // namespace
} // namespace tw
