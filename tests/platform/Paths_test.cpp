#include "platform/Paths.h"

#include "TestEnvironment.h"

#include <cstdlib>
#include <gtest/gtest.h>

using namespace tw;

namespace {

// Sets an environment variable for one scope.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value) : m_name(name) {
        if (const char* old = std::getenv(name))
            m_old = old, m_had = true;
        if (value)
            ::setenv(name, value, 1);
        else
            ::unsetenv(name);
    }
    ~ScopedEnv() {
        if (m_had)
            ::setenv(m_name, m_old.c_str(), 1);
        else
            ::unsetenv(m_name);
    }

private:
    const char* m_name;
    std::string m_old;
    bool m_had = false;
};

} // namespace

TEST(Paths, XdgFoldersFollowTheEnvironmentElseHome_AndADisplayIsX11OrWayland) {
    EXPECT_EQ(XdgConfigHome(), test::ScratchFolder() + "config");
    EXPECT_EQ(XdgStateHome(), test::ScratchFolder() + "state");
    ScopedEnv relative("XDG_CACHE_HOME", "relative/ignored");
    EXPECT_EQ(XdgCacheHome(), HomeFolder() + "/.cache");
    ScopedEnv unset("XDG_DATA_HOME", nullptr);
    EXPECT_EQ(XdgDataHome(), HomeFolder() + "/.local/share");
    // A display is X11's or Wayland's.
    ScopedEnv x("DISPLAY", nullptr);
    ScopedEnv w("WAYLAND_DISPLAY", nullptr);
    EXPECT_FALSE(HasDisplay());
    ScopedEnv wayland("WAYLAND_DISPLAY", "wayland-0");
    EXPECT_TRUE(HasDisplay());
}

TEST(Paths, MusicFolder_ComesFromUserDirsElseHome) {
    const std::string dirs = XdgConfigHome() + "/user-dirs.dirs";
    test::WriteWholeFile(dirs, "# written by xdg-user-dirs-update\nXDG_DESKTOP_DIR=\"$HOME/Desktop\"\n"
                               "XDG_MUSIC_DIR=\"$HOME/Musik\"\n");
    EXPECT_EQ(MusicFolder(), HomeFolder() + "/Musik");
    test::WriteWholeFile(dirs, "XDG_MUSIC_DIR=\"/srv/audio/\"\n");
    EXPECT_EQ(MusicFolder(), "/srv/audio");
    test::WriteWholeFile(dirs, "XDG_MUSIC_DIR=\"relative\"\n");
    EXPECT_EQ(MusicFolder(), HomeFolder());
    ::unlink(dirs.c_str());
    EXPECT_EQ(MusicFolder(), HomeFolder());
}

TEST(Paths, ModuleFolder_IsTheFolderOfTheCode) {
    // Linked statically into the test program, the module is the program itself.
    const std::string folder = ModuleFolder();
    ASSERT_FALSE(folder.empty());
    EXPECT_EQ(folder.front(), '/');
    EXPECT_EQ(folder.back(), '/');
    EXPECT_EQ(folder, std::string(TW_OUTPUT_DIR) + "/");
    // An address inside the C library names the library's folder instead.
    EXPECT_NE(ModuleFolder(reinterpret_cast<const void*>(&::getenv)), folder);
}

TEST(Paths, Helpers_SplitSlashSeparatedPaths) {
    EXPECT_EQ(FileNameOf("/a/b/song.final.wav"), "song.final.wav");
    EXPECT_EQ(FolderOf("/a/b/song.wav"), "/a/b/");
    EXPECT_EQ(FolderOf("song.wav"), "");
    EXPECT_EQ(ExtensionOf("/a/b/song.final.wav"), "wav");
    EXPECT_EQ(ExtensionOf("/a/b.dir/noext"), "");
    EXPECT_EQ(SystemTempFolder(), "/var/tmp/");
}
