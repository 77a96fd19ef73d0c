#include "core/ObjectPool.h"

#include <algorithm>

namespace tw {

void CObjectPool::AddRef(CObject* object) {
    if (object == nullptr)
        return;
    std::lock_guard<std::mutex> lock(m_lock);
    for (CObjectInfo& row : m_rows) {
        if (row.m_object == object) {
            ++row.m_count;
            return;
        }
    }
    m_rows.emplace_back(object, 1);
}

void CObjectPool::Release(CObject* object) {
    if (object == nullptr)
        return;
    CObject* doomed = nullptr;
    {
        std::lock_guard<std::mutex> lock(m_lock);
        auto it = std::find_if(m_rows.begin(), m_rows.end(),
                               [object](const CObjectInfo& row) { return row.m_object == object; });
        if (it == m_rows.end())
            return;
        if (--it->m_count <= 0) {
            doomed = it->m_object;
            m_rows.erase(it);
        }
    }
    delete doomed;
}

int32_t CObjectPool::GetRefCount(const CObject* object) const {
    std::lock_guard<std::mutex> lock(m_lock);
    for (const CObjectInfo& row : m_rows) {
        if (row.m_object == object)
            return row.m_count;
    }
    return 0;
}

int32_t CObjectPool::GetCount() const {
    std::lock_guard<std::mutex> lock(m_lock);
    return static_cast<int32_t>(m_rows.size());
}

CObjectPool& ObjectPool() {
    static CObjectPool pool;
    return pool;
}

} // namespace tw
