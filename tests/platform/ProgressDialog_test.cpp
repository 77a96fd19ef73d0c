#include "platform/ProgressDialog.h"

#include "platform/Event.h"
#include "platform/Presentation.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

using namespace tw;

namespace {

// A task that walks through `steps` steps of `stepMs` each, stoppable by Cancel.
class SteppedTask : public CWorkerThread {
public:
    SteppedTask(int steps, int stepMs, int32_t result = 0)
        : m_steps(steps), m_stepMs(stepMs), m_answer(result) {}
    bool Cancel() override {
        m_stop = true;
        return true;
    }
    double GetProgress() override { return static_cast<double>(m_done.load()) / m_steps; }
    std::string GetTitle() override { return "Converting Sample Format"; }
    int32_t Run() override {
        runThread = std::this_thread::get_id();
        for (int i = 0; i < m_steps; ++i) {
            if (m_stop)
                return 1;
            Sleep(static_cast<uint32_t>(m_stepMs));
            ++m_done;
        }
        return m_answer;
    }
    std::thread::id runThread;

private:
    int m_steps, m_stepMs;
    int32_t m_answer;
    std::atomic<int> m_done{0};
    std::atomic<bool> m_stop{false};
};

class ProgressDialogTest : public ::testing::Test {
protected:
    void SetUp() override {
        m_presentation = std::make_shared<CHeadlessPresentation>();
        SetPresentation(m_presentation);
    }
    std::vector<std::string> Titles() const {
        std::vector<std::string> titles;
        for (const auto& shown : m_presentation->History())
            if (shown.kind == "changed")
                titles.push_back(shown.text);
        return titles;
    }
    std::shared_ptr<CHeadlessPresentation> m_presentation;
};

} // namespace

TEST_F(ProgressDialogTest, TaskThatSucceeds_EndsWithOne_AndShowsRisingPercentages) {
    SteppedTask task(10, 40);
    CProgressDialog dialog(task);
    EXPECT_EQ(dialog.DoModal(), IDOK); // no loop on this thread: the dialog brings one
    EXPECT_TRUE(task.IsFinished());
    EXPECT_EQ(task.m_result.load(), 0);
    EXPECT_NE(task.runThread, std::this_thread::get_id());
    EXPECT_FALSE(dialog.WasCancelled());
    const auto titles = Titles();
    ASSERT_GE(titles.size(), 2u);
    // The first tick comes after 100 ms; the last, which sees the task finished, shows 100%.
    EXPECT_EQ(titles.back(), "Converting Sample Format, 100% done");
    int last = -1;
    for (const std::string& title : titles) {
        const int percent = std::stoi(title.substr(title.find(", ") + 2));
        EXPECT_GT(percent, last) << "a title changes only when the percentage does";
        last = percent;
    }
    EXPECT_EQ(dialog.GetTitleText(), titles.back());
}

TEST_F(ProgressDialogTest, TaskThatFails_EndsWithTwo) {
    SteppedTask task(2, 10, 5);
    CProgressDialog dialog(task);
    EXPECT_EQ(dialog.DoModal(), IDCANCEL);
    EXPECT_EQ(task.m_result.load(), 5);
}

TEST_F(ProgressDialogTest, Cancel_AsksTheTaskAndWaitsForItsEnd) {
    SteppedTask task(1000, 5);
    m_presentation->OnDialog("Progress", [](CModalDialog& dialog) { dialog.OnCancel(); });
    CProgressDialog dialog(task);
    EXPECT_EQ(dialog.DoModal(), IDCANCEL);
    EXPECT_TRUE(dialog.WasCancelled());
    EXPECT_TRUE(task.IsFinished()) << "the dialog stays until the task has ended";
}

TEST_F(ProgressDialogTest, CancelledTaskThatStillAnswersZero_EndsWithTwo) {
    // A task whose Cancel is ignored runs to its end; the user's cancel still decides the result.
    class Stubborn : public SteppedTask {
    public:
        Stubborn() : SteppedTask(5, 20) {}
        bool Cancel() override { return false; }
    } task;
    m_presentation->OnDialog("Progress", [](CModalDialog& dialog) { dialog.OnCancel(); });
    CProgressDialog dialog(task);
    EXPECT_EQ(dialog.DoModal(), IDCANCEL);
    EXPECT_EQ(task.m_result.load(), 0);
}

TEST_F(ProgressDialogTest, OnADocumentThread_TheOwnerIsDisabledAndTheLoopKeepsServing) {
    CMessageLoop loop;
    CWindow frame;
    frame.Create();
    int posted = 0;
    SteppedTask task(5, 30);
    loop.PostCall([&] { ++posted; });
    m_presentation->OnDialog("Progress", [&](CModalDialog&) { EXPECT_FALSE(frame.IsWindowEnabled()); });
    CProgressDialog dialog(task);
    EXPECT_EQ(dialog.DoModal(frame.GetSafeHandle()), IDOK);
    EXPECT_EQ(posted, 1);
    EXPECT_TRUE(frame.IsWindowEnabled());
}
