#include "core/LabelList.h"

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace tw {
namespace {

std::vector<int64_t> Positions(const CLabelList& list) {
    std::vector<int64_t> out;
    for (int32_t i = 0; i < list.GetCount(); ++i)
        out.push_back(list.GetAt(i)->m_position);
    return out;
}

TEST(LabelList, Insert_KeepsRisingOrderAndAnOccupiedPositionReplacesWithoutDeleting) {
    CLabelList list;
    for (int64_t at : {300, 100, 200, 400})
        list.Add(at, at == 200 ? 5 : 0, "", "");
    EXPECT_EQ(Positions(list), (std::vector<int64_t>{100, 200, 300, 400}));
    EXPECT_EQ(list.GetAt(1)->m_type, 5);
    EXPECT_EQ(list.LastPosition(), 400);
    EXPECT_EQ(list.GetAt(4), nullptr);
    EXPECT_EQ(list.GetAt(-1), nullptr);

    auto* old = list.GetAt(0);
    auto* replacement = new CLabelData(100, 3, "new", "");
    EXPECT_TRUE(list.Insert(replacement));
    EXPECT_EQ(Positions(list), (std::vector<int64_t>{100, 200, 300, 400}));
    EXPECT_EQ(list.GetAt(0), replacement);
    // Unlinked, still alive, and the caller's to delete.
    EXPECT_EQ(old->m_position, 100);
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
    EXPECT_EQ(Positions(list), (std::vector<int64_t>{0xFFFFFFFF}));
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
