// The container fuzz case over a real document's working container (an effect stage, a cut, a stage
// on the redo list), cut short at every length, changed at random places and damaged in its header
// and history; and such containers opened as projects, which must leave the open document alone.
#include "../../fuzz/ContainerFuzzBody.h"
#include "ViewTestSupport.h"

#include "dsp/MediaMakers.h"
#include "dsp/TransformDoubles.h"
#include "dsp/TransformPlugin.h"
#include "platform/ModalDialog.h"

#include <cstring>
#include <random>

namespace tw::test {
namespace {

class ContainerFuzzRegression : public ViewTest {
protected:
    void SetUp() override {
        ViewTest::SetUp();
        if (IsSkipped())
            return;
        doubles::RegisterTransforms();
        // A container of real effects reads back through the system's makers.
        RegisterMediaMakers();
        LoadWav(6000);
        ASSERT_NE(ApplyEffect(doubles::kGainClass, 0, 4000), nullptr);
        Select(1000, 2000);
        Command(CChildView::kCut);
        Select(0, 100);
        Command(CChildView::kDelete);
        Command(CChildView::kUndo);
        loop->PumpFor(0); // the undo's state is written by the thread's next message
        ASSERT_EQ(view->GetUndoList().size(), 2u);
        ASSERT_EQ(view->GetRedoList().size(), 1u);
        const std::vector<uint8_t> file = ReadWholeFile(view->GetProject().GetPath());
        container.assign(file.begin(), file.end());
        ASSERT_GT(container.size(), 100u);
    }

    void Expect(const std::string& bytes) {
        const fuzz::BodyFuzzOutcome outcome = fuzz::RunContainerFuzzCase(bytes);
        ASSERT_TRUE(outcome.consistent) << outcome.problem << " (input of " << bytes.size() << " bytes)";
    }

    // Opening `bytes` as a project fails with the read box and leaves the document as it was.
    void ExpectRefusedAsProject(const std::string& bytes, const std::string& name) {
        const std::string path = home.root + "/" + name + ".vtf";
        WriteBytes(path, bytes);
        const int64_t length = view->GetMedia().GetLength();
        const size_t undo = view->GetUndoList().size();
        const size_t redo = view->GetRedoList().size();
        const std::string working = view->GetProject().GetPath();
        EXPECT_FALSE(view->LoadFile(path)) << name;
        EXPECT_EQ(presentation->Boxes().back(),
                  "An error occurred while reading from the file " + path + ".");
        EXPECT_EQ(view->GetMedia().GetLength(), length) << name;
        EXPECT_EQ(view->GetUndoList().size(), undo) << name;
        EXPECT_EQ(view->GetRedoList().size(), redo) << name;
        EXPECT_EQ(view->GetProject().GetPath(), working) << name;
        EXPECT_TRUE(CFile::Exists(working)) << name;
    }

    static void PutU32(std::string& bytes, size_t at, uint32_t value) {
        for (int i = 0; i < 4; ++i)
            bytes[at + i] = static_cast<char>(value >> (8 * i));
    }
    static uint32_t GetU32(const std::string& bytes, size_t at) {
        uint32_t value = 0;
        for (int i = 0; i < 4; ++i)
            value |= static_cast<uint32_t>(static_cast<uint8_t>(bytes[at + i])) << (8 * i);
        return value;
    }
    // Where the stored caption `text` of a stage begins (its UTF-16 units), or npos.
    size_t FindCaption(const std::string& text) const {
        std::string wide;
        for (char c : text) {
            wide.push_back(c);
            wide.push_back('\0');
        }
        wide.append(2, '\0');
        return container.find(wide, GetU32(container, 10));
    }

    std::string container;
};

TEST_F(ContainerFuzzRegression, TheDocumentsContainerLoadsWithItsWholeHistory_AndCutShortFailsWithoutHarm) {
    Expect(container);
    CMemFileIO file(reinterpret_cast<const uint8_t*>(container.data()), container.size());
    CRaffParser parser;
    parser.AttachContainer(&file);
    fuzz::LoadedContainer loaded;
    ASSERT_TRUE(parser.LoadState(loaded.media, &loaded.history, loaded.view, loaded.selection, false));
    EXPECT_EQ(loaded.media.GetLength(), 5000);
    ASSERT_EQ(loaded.undo.size(), 2u);
    EXPECT_EQ(loaded.redo.size(), 1u);
    EXPECT_NE(loaded.undo.front()->m_transform, nullptr);
    // Cut short at any length it fails without harm.
    const size_t step = container.size() > 4000 ? container.size() / 4000 : 1;
    for (size_t length = 0; length < container.size(); length += step)
        Expect(container.substr(0, length));
}

TEST_F(ContainerFuzzRegression, RandomChangesFailOrLoadConsistently) {
    std::mt19937 random(20261124);
    const size_t state = GetU32(container, 10);
    for (int round = 0; round < 400; ++round) {
        std::string changed = container;
        const int edits = 1 + static_cast<int>(random() % 4);
        for (int e = 0; e < edits; ++e) {
            // Most changes hit the state and history, where the structure is.
            const size_t from = round % 4 == 0 ? 0 : state;
            changed[from + random() % (changed.size() - from)] = static_cast<char>(random());
        }
        Expect(changed);
    }
}

TEST_F(ContainerFuzzRegression, DamagedHeadersAndUnknownIndexesAreRefusedAndTheDocumentStays) {
    std::string magic = container;
    magic[0] = 'X';
    std::string version = container;
    version[4] = 4;
    version[5] = 0;
    std::string pastEnd = container;
    PutU32(pastEnd, 10, static_cast<uint32_t>(container.size() + 16));
    std::string beforeStreams = container;
    PutU32(beforeStreams, 6, GetU32(container, 10) + 1);
    std::string intoHeader = container;
    PutU32(intoHeader, 10, 8);

    // The effect stage's record: caption, four positions, then the index of its effect.
    const size_t caption = FindCaption(view->GetUndoList().front()->m_caption);
    ASSERT_NE(caption, std::string::npos);
    const size_t transformIndex = caption + 2 * view->GetUndoList().front()->m_caption.size() + 2 + 16;
    ASSERT_EQ(GetU32(container, transformIndex), 0u);
    std::string unknownEffect = container;
    PutU32(unknownEffect, transformIndex, 7);

    const std::vector<std::pair<std::string, std::string>> cases = {
        {"magic", magic},           {"version", version},
        {"pastEnd", pastEnd},       {"beforeStreams", beforeStreams},
        {"intoHeader", intoHeader}, {"unknownEffect", unknownEffect}};
    for (const auto& [name, bytes] : cases) {
        SCOPED_TRACE(name);
        Expect(bytes);
        CMemFileIO file(reinterpret_cast<const uint8_t*>(bytes.data()), bytes.size());
        CRaffParser parser;
        parser.AttachContainer(&file);
        fuzz::LoadedContainer loaded;
        EXPECT_FALSE(parser.LoadState(loaded.media, &loaded.history, loaded.view, loaded.selection, false));
        ExpectRefusedAsProject(bytes, name);
    }
    // The same container undamaged opens, with its history.
    const std::string good = home.root + "/good.vtf";
    WriteBytes(good, container);
    ASSERT_TRUE(view->LoadFile(good));
    EXPECT_EQ(view->GetUndoList().size(), 2u);
    EXPECT_EQ(view->GetRedoList().size(), 1u);
}

} // namespace
} // namespace tw::test
