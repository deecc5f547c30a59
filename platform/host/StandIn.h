#pragma once

namespace AppConfigHost {

/// While it exists, tells that a row's context stands for another context. A decorator that wraps rows keeps one for
/// each, so that the transports below still know which link the rows belong to. Thread-safe.
class StandIn {
public:
    StandIn(void* context, void* behind);
    ~StandIn();
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    /// \return the context that \p context stands for in the end; itself if it stands for no other.
    static void* contextBehind(void* context);

private:
    void* const m_context;
};

}  // namespace AppConfigHost
