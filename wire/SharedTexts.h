#pragma once

#include <algorithm>
#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>

namespace AppConfigWire {

/// A text that many hold and nobody changes.
using Text = std::shared_ptr<const std::string>;

/// Gives equal texts one place in memory for as long as somebody holds them. Not thread-safe; what it gives out may go
/// to any thread.
class SharedTexts {
public:
    /// \return the one holder of \p text's bytes.
    Text share(const std::string& text) {
        std::weak_ptr<const std::string>& slot = m_texts[text];
        Text shared = slot.lock();
        if (shared) return shared;
        shared = std::make_shared<const std::string>(text);
        slot = shared;
        if (m_texts.size() >= m_sweepAt) sweep();
        return shared;
    }

private:
    /// Drops what nobody holds any more. Once per doubling, so that it costs next to nothing per text.
    void sweep() {
        for (auto at = m_texts.begin(); at != m_texts.end();) at = at->second.expired() ? m_texts.erase(at) : ++at;
        m_sweepAt = std::max(leastSweep, 2 * m_texts.size());
    }

    static constexpr std::size_t leastSweep = 64;

    std::unordered_map<std::string, std::weak_ptr<const std::string>> m_texts;
    std::size_t m_sweepAt = leastSweep;
};

}  // namespace AppConfigWire
