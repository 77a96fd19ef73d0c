// The pool that keeps streams and transforms alive across documents, history stages and the
// clipboard. Every holder takes one reference with AddRef and gives it back with Release; the last
// Release deletes the object. Nothing else deletes a pooled object, and an object's destructor
// never consults the pool.
//
// Threads: any. A mutex keeps the rows consistent when document threads edit at the same time;
// an object's destructor runs outside it, so destructors may release further objects.
#pragma once

#include "core/Object.h"

#include <cstdint>
#include <mutex>
#include <vector>

namespace tw {

class CObjectInfo : public CObject {
public:
    CObjectInfo(CObject* object, int32_t count) : m_object(object), m_count(count) {}
    CObject* m_object;
    int32_t m_count;
};

class CObjectPool {
public:
    CObjectPool() = default;
    // Objects still pooled at the end of the process are left alone: their owners (temporary
    // files, crash recovery) decide what happens to the bytes behind them.
    ~CObjectPool() = default;
    CObjectPool(const CObjectPool&) = delete;
    CObjectPool& operator=(const CObjectPool&) = delete;

    // A known object gets one more reference; an unknown one joins at the tail with count 1.
    void AddRef(CObject* object);
    // One reference less; at 0 the object is deleted and its row removed. An unknown object (or
    // null) is left alone.
    void Release(CObject* object);
    // The count of the object, or 0 when it is not pooled.
    int32_t GetRefCount(const CObject* object) const;
    int32_t GetCount() const;

    // Appends every pooled object of class T (derived classes included), in pool order.
    template <class T> void FindOfClass(std::vector<T*>& out) const {
        std::lock_guard<std::mutex> lock(m_lock);
        for (const CObjectInfo& row : m_rows) {
            if (auto* object = dynamic_cast<T*>(row.m_object))
                out.push_back(object);
        }
    }

private:
    mutable std::mutex m_lock;
    std::vector<CObjectInfo> m_rows;
};

// The one pool of the process.
CObjectPool& ObjectPool();

} // namespace tw
