// One QGuiApplication for the whole test binary, on the off-screen platform, so that fonts and the
// palette exist; text drawing needs it.
#include <QGuiApplication>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace {

class QtEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        if (QGuiApplication::instance() != nullptr)
            return;
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        m_app = std::make_unique<QGuiApplication>(m_argc, m_argv);
    }
    void TearDown() override { m_app.reset(); }

private:
    int m_argc = 1;
    char m_name[16] = "display_tests";
    char* m_argv[2] = {m_name, nullptr};
    std::unique_ptr<QGuiApplication> m_app;
};

const auto* const kQtEnvironment = ::testing::AddGlobalTestEnvironment(new QtEnvironment);

} // namespace
