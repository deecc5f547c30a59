#include "core/Line.h"

#include <algorithm>
#include <map>

namespace AppConfigService {

OperationPtr Line::add(const OperationPtr& operation) {
    OperationPtr removed;
    if (m_operations.size() >= mostWaiting) {
        removed = makeRoomFor(*operation);
        if (removed == nullptr) return operation;
    }
    // Each client counts its own requests from where the line stands now, and whoever has the lower count comes first.
    std::uint64_t rank = empty() ? 0 : first()->rank;
    for (const OperationPtr& other : m_operations) {
        if (other->client == operation->client) rank = std::max(rank, other->rank);
    }
    operation->rank = rank + 1;
    const auto isLater = [&](const OperationPtr& other) { return other->rank > operation->rank; };
    m_operations.insert(std::find_if(m_operations.begin(), m_operations.end(), isLater), operation);
    return removed;
}

/// \return the last request of the user that has most in the line, which is not in it any more; null when \p operation
/// comes from a user who would have as many.
OperationPtr Line::makeRoomFor(const Operation& operation) {
    std::map<std::uint32_t, std::size_t> byUser;
    for (auto it = m_operations.begin() + 1; it != m_operations.end(); ++it) ++byUser[(*it)->client.uid];
    const auto most = std::max_element(byUser.begin(), byUser.end(),
                                       [](const auto& a, const auto& b) { return a.second < b.second; });
    if (byUser[operation.client.uid] + 1 >= most->second) return nullptr;
    const auto last = std::find_if(m_operations.rbegin(), m_operations.rend(),
                                   [&](const OperationPtr& other) { return other->client.uid == most->first; });
    OperationPtr removed = *last;
    m_operations.erase(std::next(last).base());
    return removed;
}

}  // namespace AppConfigService
