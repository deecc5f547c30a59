#pragma once

namespace AppConfigHost {

/// Says, as long as it lives, that a row's context is only put in front of another one. A decorator that wraps the rows
/// of a table keeps one for each, so that the transports behind it still know whose rows they are. Thread-safe.
class StandIn {
public:
    StandIn(void* context, void* behind);
    ~StandIn();
    StandIn(const StandIn&) = delete;
    StandIn& operator=(const StandIn&) = delete;

    /// \return the context at the end of those that \p context is put in front of; itself when there is none.
    static void* contextBehind(void* context);

private:
    void* const m_context;
};

}  // namespace AppConfigHost
