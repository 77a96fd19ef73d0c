// One case of the preset and chain fuzzer, shared by the libFuzzer target and the regression test:
// any bytes as a preset file ("(last)" record, a count, that many records) and as a stored chain of
// transforms. Reading must fail cleanly or give records that store and read back alike; a chain
// must load or throw the archive exception, and a loaded chain must store and load back alike.
#pragma once

#include "core/TransformChain.h"
#include "dsp/PlugInSettings.h"
#include "dsp/PluginChain.h"
#include "dsp/TransformPlugin.h"
#include "storage/Archive.h"
#include "storage/BasicIO.h"

#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace tw::fuzz {

struct PresetFuzzOutcome {
    bool consistent = true;
    std::string problem;
};

// A read-only memory object over a copy of the bytes; reads past the end fail.
class FuzzBytesIO : public IBasicIO {
public:
    explicit FuzzBytesIO(std::vector<uint8_t> bytes) : m_bytes(std::move(bytes)) {}
    int64_t GetLength() override { return static_cast<int64_t>(m_bytes.size()); }
    void Seek(int64_t position) override { m_position = position; }
    bool Write(const void* source, uint32_t count) override {
        if (m_position < 0)
            return false;
        if (static_cast<size_t>(m_position) + count > m_bytes.size())
            m_bytes.resize(static_cast<size_t>(m_position) + count);
        std::memcpy(m_bytes.data() + m_position, source, count);
        m_position += count;
        return true;
    }
    bool Read(void* target, uint32_t count) override {
        if (m_position < 0 || static_cast<size_t>(m_position) + count > m_bytes.size())
            return false;
        std::memcpy(target, m_bytes.data() + m_position, count);
        m_position += count;
        return true;
    }
    std::string GetTypeName() override { return "FuzzBytesIO"; }

private:
    std::vector<uint8_t> m_bytes;
    int64_t m_position = 0;
};

inline bool SameRecord(const CPlugInSettings& a, const CPlugInSettings& b) {
    return a.GetName() == b.GetName() && a.GetData() == b.GetData();
}

inline PresetFuzzOutcome RunPresetFuzzCase(const std::string& input) {
    PresetFuzzOutcome outcome;
    auto fail = [&](const std::string& why) {
        outcome.consistent = false;
        outcome.problem = why;
        return outcome;
    };
    const std::vector<uint8_t> bytes(input.begin(), input.end());

    // As the effect dialog reads a preset file: records while they read, at most the count.
    {
        FuzzBytesIO io(bytes);
        CArchive ar(io, CArchive::load);
        std::vector<CPlugInSettings> records;
        CPlugInSettings last(nullptr);
        if (last.Read(ar)) {
            records.push_back(last);
            if (ar.GetPosition() + 4 <= io.GetLength()) {
                const uint32_t count = ar.ReadU32();
                for (uint32_t i = 0; i < count; ++i) {
                    const int64_t before = ar.GetPosition();
                    CPlugInSettings record(nullptr);
                    if (!record.Read(ar)) {
                        if (ar.GetPosition() != before)
                            return fail("a refused record moved the position");
                        break;
                    }
                    if (ar.GetPosition() != before + CPlugInSettings::kNameBytes + 4 +
                                                static_cast<int64_t>(record.GetData().size()))
                        return fail("a record took another number of bytes than it holds");
                    records.push_back(record);
                }
            }
        }
        FuzzBytesIO copy({});
        CArchive store(copy, CArchive::store);
        for (const CPlugInSettings& record : records)
            record.Write(store);
        CArchive load(copy, CArchive::load);
        for (const CPlugInSettings& record : records) {
            CPlugInSettings again(nullptr);
            // The copy is longer than any record in it, so no size can be refused there.
            if (!again.Read(load))
                return fail("a stored record is refused");
            if (!SameRecord(record, again))
                return fail("a record does not store and read back alike");
        }
    }

    // As a stored chain.
    {
        FuzzBytesIO io(bytes);
        CArchive ar(io, CArchive::load);
        CTransformChain chain;
        bool loaded = true;
        try {
            SerializeChain(chain, ar);
        } catch (const CArchiveException&) {
            loaded = false;
        }
        std::vector<std::unique_ptr<CTransformBase>> owned;
        for (int32_t i = 0; i < chain.GetCount(); ++i)
            owned.emplace_back(chain.GetAt(i));
        if (loaded) {
            FuzzBytesIO copy({});
            CArchive store(copy, CArchive::store);
            SerializeChain(chain, store);
            CArchive load(copy, CArchive::load);
            CTransformChain again;
            try {
                SerializeChain(again, load);
            } catch (const CArchiveException&) {
                return fail("a stored chain does not load");
            }
            std::vector<std::unique_ptr<CTransformBase>> ownedAgain;
            for (int32_t i = 0; i < again.GetCount(); ++i)
                ownedAgain.emplace_back(again.GetAt(i));
            if (again.GetCount() != chain.GetCount())
                return fail("a stored chain loads with another count");
            for (int32_t i = 0; i < chain.GetCount(); ++i)
                if (again.GetAt(i)->GetClassId() != chain.GetAt(i)->GetClassId() ||
                    again.GetAt(i)->GetSubId() != chain.GetAt(i)->GetSubId())
                    return fail("a stored chain loads with other ids");
        }
    }
    return outcome;
}

} // namespace tw::fuzz
