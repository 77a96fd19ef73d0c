#include "core/LabelList.h"

#include <gtest/gtest.h>

#include <memory>

namespace tw {
namespace {

TEST(LabelList, Insert_KeepsRisingOrderWhateverTheArrivalOrder) {
    CLabelList list;
    list.Add(300, 0, "", "");
    list.Add(100, 0, "", "");
    list.Add(200, 5, "a", "b");
    list.Add(400, 0, "", "");
    ASSERT_EQ(list.GetCount(), 4);
    EXPECT_EQ(list.GetAt(0)->m_position, 100);
    EXPECT_EQ(list.GetAt(1)->m_position, 200);
    EXPECT_EQ(list.GetAt(1)->m_type, 5);
    EXPECT_EQ(list.GetAt(2)->m_position, 300);
    EXPECT_EQ(list.LastPosition(), 400);
    EXPECT_EQ(list.GetAt(4), nullptr);
    EXPECT_EQ(list.GetAt(-1), nullptr);
}

TEST(LabelList, Insert_AtAnOccupiedPosition_ReplacesTheOldMarkerWithoutDeletingIt) {
    CLabelList list;
    auto* old = new CLabelData(100, 0, "old", "");
    list.Insert(old);
    list.Add(50, 0, "", "");
    auto* replacement = new CLabelData(100, 3, "new", "");
    EXPECT_TRUE(list.Insert(replacement));
    ASSERT_EQ(list.GetCount(), 2);
    EXPECT_EQ(list.GetAt(1), replacement);
    // Unlinked, still alive, and the caller's to delete.
    EXPECT_EQ(old->m_firstText, "old");
    EXPECT_FALSE(list.Remove(old));
    delete old;
}

TEST(LabelList, RemoveAt_SignExtendsThe32BitPositionAndDoesNotDelete) {
    CLabelList list;
    list.Add(-1, 0, "", "");
    list.Add(int64_t{0xFFFFFFFF}, 0, "", "");
    std::unique_ptr<CLabelData> removed(list.RemoveAt(-1));
    ASSERT_NE(removed, nullptr);
    EXPECT_EQ(removed->m_position, -1);
    EXPECT_EQ(list.GetCount(), 1);
    EXPECT_EQ(list.GetAt(0)->m_position, int64_t{0xFFFFFFFF});
    EXPECT_EQ(list.RemoveAt(-1), nullptr);
}

TEST(LabelList, FirstNext_WalkOnceAndNextAfterTheEndGivesNull) {
    CLabelList list;
    list.Add(10, 0, "", "");
    list.Add(20, 0, "", "");
    EXPECT_EQ(list.First()->m_position, 10);
    EXPECT_EQ(list.Next()->m_position, 20);
    EXPECT_EQ(list.Next(), nullptr);
    EXPECT_EQ(list.Next(), nullptr);
    EXPECT_EQ(list.First()->m_position, 10);

    list.Clear();
    EXPECT_EQ(list.GetCount(), 0);
    EXPECT_EQ(list.First(), nullptr);
}

} // namespace
} // namespace tw
