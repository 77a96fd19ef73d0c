#include "core/ObjectPool.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(ObjectPool, Release_DeletesOnlyAtTheLastReference_AndIgnoresObjectsNotPooled) {
    CObjectPool pool;
    bool deleted = false;
    auto* stream = test::VectorStream::Ramp(10, &deleted);
    pool.AddRef(stream);
    pool.AddRef(stream);
    EXPECT_EQ(pool.GetRefCount(stream), 2);
    pool.Release(stream);
    EXPECT_FALSE(deleted);
    EXPECT_EQ(pool.GetRefCount(stream), 1);
    pool.Release(stream);
    EXPECT_TRUE(deleted);
    EXPECT_EQ(pool.GetCount(), 0);

    // An object the pool never held is left alone.
    bool foreignDeleted = false;
    test::VectorStream foreign({0.0f}, 1, &foreignDeleted);
    pool.Release(&foreign);
    pool.Release(nullptr);
    EXPECT_FALSE(foreignDeleted);
    EXPECT_EQ(pool.GetRefCount(&foreign), 0);
}

TEST(ObjectPool, FindOfClass_ListsPooledObjectsOfThatClassInPoolOrder) {
    CObjectPool pool;
    auto* a = test::VectorStream::Ramp(1);
    auto* gain = new test::GainTransform(2.0f);
    auto* b = test::VectorStream::Ramp(2);
    pool.AddRef(a);
    pool.AddRef(gain);
    pool.AddRef(b);
    pool.AddRef(a);

    std::vector<CMediaStream*> streams;
    pool.FindOfClass(streams);
    ASSERT_EQ(streams.size(), 2u);
    EXPECT_EQ(streams[0], a);
    EXPECT_EQ(streams[1], b);
    std::vector<CTransformBase*> transforms;
    pool.FindOfClass(transforms);
    ASSERT_EQ(transforms.size(), 1u);

    pool.Release(a);
    pool.Release(a);
    pool.Release(gain);
    pool.Release(b);
    EXPECT_EQ(pool.GetCount(), 0);
}

} // namespace
} // namespace tw
