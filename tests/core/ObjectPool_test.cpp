#include "core/ObjectPool.h"

#include "TestStreams.h"

#include <gtest/gtest.h>

namespace tw {
namespace {

TEST(ObjectPool, ReleaseDeletesAtTheLastReference_IgnoresStrangers_AndFindOfClassKeepsPoolOrder) {
    CObjectPool pool;
    bool deleted = false, foreignDeleted = false;
    auto* a = test::VectorStream::Ramp(10, &deleted);
    auto* gain = new test::GainTransform(2.0f);
    auto* b = test::VectorStream::Ramp(2);
    for (CObject* object : std::vector<CObject*>{a, gain, b, a})
        pool.AddRef(object);
    EXPECT_EQ(pool.GetRefCount(a), 2);
    std::vector<CMediaStream*> streams;
    pool.FindOfClass(streams);
    EXPECT_EQ(streams, (std::vector<CMediaStream*>{a, b}));
    std::vector<CTransformBase*> transforms;
    pool.FindOfClass(transforms);
    EXPECT_EQ(transforms, (std::vector<CTransformBase*>{gain}));

    pool.Release(a);
    EXPECT_FALSE(deleted);
    EXPECT_EQ(pool.GetRefCount(a), 1);
    pool.Release(a);
    EXPECT_TRUE(deleted);
    // An object the pool never held is left alone.
    test::VectorStream foreign({0.0f}, 1, &foreignDeleted);
    pool.Release(&foreign);
    pool.Release(nullptr);
    EXPECT_FALSE(foreignDeleted);
    EXPECT_EQ(pool.GetRefCount(&foreign), 0);
    pool.Release(gain);
    pool.Release(b);
    EXPECT_EQ(pool.GetCount(), 0);
}

} // namespace
} // namespace tw
