// CAudioClipServer through IAudioClipServer, with and without the application's hook, and the
// class factories of the server's classes.
#include "clip/ServerTestSupport.h"

#include "clip/ClipServerHost.h"
#include "platform/ComRegistry.h"
#include "storage/FileFilterManager.h"

using namespace tw;
using namespace tw::test;

namespace {

class FakeApplication : public IClipServerHost {
public:
    bool StartFileFilters() override {
        ++starts;
        return filtersStand;
    }
    void QueryRunStatus(int32_t& running, int32_t& documents) override {
        running = 1;
        documents = 3;
    }
    void CloseAllDocuments() override { ++closes; }
    void StartDevices() override { ++deviceStarts; }

    bool filtersStand = true;
    int starts = 0;
    int deviceStarts = 0;
    int closes = 0;
};

// Installs a fake application for one scope.
struct HookScope {
    explicit HookScope(IClipServerHost* host) { SetClipServerHost(host); }
    ~HookScope() { SetClipServerHost(nullptr); }
};

class ClipServerTest : public ServerTest {
protected:
    void SetUp() override {
        ServerTest::SetUp();
        m_server = Create<IAudioClipServer>(CLSID_CAudioClipServer, IID_IAudioClipServer);
        ASSERT_NE(m_server, nullptr);
    }
    void TearDown() override {
        m_server->Release();
        ServerTest::TearDown();
    }
    IAudioClipServer* m_server = nullptr;
};

TEST_F(ClipServerTest, AloneItStartsTheFiltersAndSeesNoDocuments) {
    ASSERT_NE(CFileFilterManager::Instance(), nullptr);
    EXPECT_TRUE(CFileFilterManager::Instance()->IsLoaded());
    EXPECT_EQ(
        CFileFilterManager::Instance()->GetSaveFilter().rfind("Vond Tidewright Files (*.vtf)|*.vtf|", 0), 0u);
    int32_t status[2] = {-7, -7};
    EXPECT_EQ(m_server->QueryTKStatusByTrackloomRM(status), S_OK);
    EXPECT_EQ(std::vector<int32_t>(status, status + 2), (std::vector<int32_t>{0, 0}));
    EXPECT_EQ(m_server->ForceCloseAllTKWindow(), S_OK);
    EXPECT_EQ(m_server->Cleanup(), S_OK);
    EXPECT_EQ(m_server->QueryTKStatusByTrackloomRM(nullptr), E_POINTER);
}

TEST_F(ClipServerTest, WithTheApplicationItAsksItForFiltersStatusAndClosing) {
    FakeApplication application;
    HookScope scope(&application);
    EXPECT_EQ(m_server->InitServer(), S_OK);
    EXPECT_EQ(std::pair(application.starts, application.deviceStarts), std::pair(1, 1));
    EXPECT_TRUE(m_presentation->Boxes().empty());

    // Both words are written, the second beside the first.
    int32_t status[3] = {-7, -7, -7};
    EXPECT_EQ(m_server->QueryTKStatusByTrackloomRM(status), S_OK);
    EXPECT_EQ(std::vector<int32_t>(status, status + 3), (std::vector<int32_t>{1, 3, -7}));

    EXPECT_EQ(m_server->ForceCloseAllTKWindow(), S_OK);
    EXPECT_EQ(application.closes, 1);

    // Missing filters are the user's to see; the host still gets success.
    application.filtersStand = false;
    EXPECT_EQ(m_server->InitServer(), S_OK);
    ASSERT_EQ(m_presentation->Boxes().size(), 1u);
    EXPECT_EQ(m_presentation->Boxes()[0],
              "The audio file filter manager was not found. Please reinstall Vond.");
}

TEST_F(ClipServerTest, FactoriesMakeCountedObjectsAndRefuseAggregation) {
    bool server = false, writer = false;
    for (const RegisteredClass& entry : RegisteredClasses()) {
        server = server ||
                 (entry.clsid == CLSID_CAudioClipServer && entry.friendlyName == "CAudioClipServer Object");
        writer = writer || (entry.clsid == CLSID_CAudioWriter && entry.friendlyName == "CAudioWriter Object");
    }
    EXPECT_TRUE(server);
    EXPECT_TRUE(writer);

    const int32_t before = ServerObjectsAndLocks();
    void* out = nullptr;
    ASSERT_EQ(GetRegisteredClassObject(CLSID_CAudioWriter, IID_IClassFactory, &out), S_OK);
    auto* factory = static_cast<IClassFactory*>(out);
    EXPECT_EQ(factory->CreateInstance(reinterpret_cast<IUnknown*>(m_server), IID_IUnknown, &out),
              CLASS_E_NOAGGREGATION);
    EXPECT_EQ(out, nullptr);
    EXPECT_EQ(factory->CreateInstance(nullptr, IID_IAudioClipServer, &out), E_NOINTERFACE);
    EXPECT_EQ(ServerObjectsAndLocks(), before); // the refused object is gone again

    ASSERT_EQ(factory->CreateInstance(nullptr, IID_IUnknown, &out), S_OK);
    auto* unknown = static_cast<IUnknown*>(out);
    void* asWriter = nullptr;
    ASSERT_EQ(unknown->QueryInterface(IID_IAudioWriter, &asWriter), S_OK);
    EXPECT_EQ(asWriter, out); // one identity
    EXPECT_EQ(ServerObjectsAndLocks(), before + 1);
    EXPECT_EQ(factory->LockServer(1), S_OK);
    EXPECT_EQ(ServerObjectsAndLocks(), before + 2);
    EXPECT_EQ(factory->LockServer(0), S_OK);
    EXPECT_EQ(static_cast<IUnknown*>(asWriter)->Release(), 1u);
    EXPECT_EQ(unknown->Release(), 0u);
    EXPECT_EQ(ServerObjectsAndLocks(), before);
    factory->Release();
}

} // namespace
