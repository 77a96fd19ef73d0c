// One QApplication for the whole test binary, on the off-screen platform: widgets need the full
// application object, not only a QGuiApplication.
#include <QApplication>

#include <gtest/gtest.h>

#include <cstdlib>
#include <memory>

namespace {

class QtEnvironment : public ::testing::Environment {
public:
    void SetUp() override {
        if (QApplication::instance() != nullptr)
            return;
        setenv("QT_QPA_PLATFORM", "offscreen", 0);
        m_app = std::make_unique<QApplication>(m_argc, m_argv);
    }
    void TearDown() override { m_app.reset(); }

private:
    int m_argc = 1;
    char m_name[24] = "guicontrols_tests";
    char* m_argv[2] = {m_name, nullptr};
    std::unique_ptr<QApplication> m_app;
};

const auto* const kQtEnvironment = ::testing::AddGlobalTestEnvironment(new QtEnvironment);

} // namespace
