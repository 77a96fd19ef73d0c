#include "dsp/PresetFile.h"

#include "dsp/TransformPlugin.h"
#include "platform/Paths.h"
#include "storage/Archive.h"
#include "storage/MemFileIO.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <unistd.h>

namespace tw {

std::string CPresetFile::Folder() {
    return XdgDataHome() + "/Onset/Vond Tidewright/";
}

std::string CPresetFile::PathFor(CTransformPlugin& transform) {
    return Folder() + transform.GetId() + ".preu";
}

CPresetFile CPresetFile::Load(const std::string& path, CTransformPlugin* transform) {
    CPresetFile file;
    file.last = CPlugInSettings(transform, kLastName);
    std::ifstream in(path, std::ios::binary);
    if (!in)
        return file;
    const std::vector<uint8_t> bytes{std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
    CMemFileIO io(bytes.data(), bytes.size());
    CArchive ar(io, CArchive::load);
    if (!file.last.Read(ar))
        return file;
    file.last.SetName(kLastName);
    file.hasLast = true;
    int32_t count = 0;
    try {
        count = ar.ReadI32();
    } catch (const CArchiveException&) {
        return file;
    }
    for (int32_t i = 0; i < count; ++i) {
        CPlugInSettings preset(transform);
        if (!preset.Read(ar))
            break;
        file.presets.push_back(std::move(preset));
    }
    return file;
}

bool CPresetFile::Save(const std::string& path) const {
    CMemFileIO io;
    CArchive ar(io, CArchive::store);
    last.Write(ar);
    ar.WriteI32(static_cast<int32_t>(presets.size()));
    for (const CPlugInSettings& preset : presets)
        preset.Write(ar);

    std::error_code error;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), error);
    const std::string temporary = path + ".new." + std::to_string(getpid());
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        if (!out)
            return false;
        out.write(reinterpret_cast<const char*>(io.GetData()), static_cast<std::streamsize>(io.GetLength()));
        out.flush();
        if (!out) {
            out.close();
            std::remove(temporary.c_str());
            return false;
        }
    }
    if (std::rename(temporary.c_str(), path.c_str()) != 0) {
        std::remove(temporary.c_str());
        return false;
    }
    return true;
}

} // namespace tw
