#pragma once

#include <list>
#include <thread>

#include "AppConfig/ConfigVar.h"
#include "AppConfig/PlainMutex.h"
#include "AppConfig/ThreadAnnotations.h"

namespace AppConfig {

/// The changes that providers are being asked to apply, so that an older value never follows a newer one: while a
/// provider waits for a reply of its own, the next change of the same variable may be dispatched within its call, and
/// brings every provider up to date. Thread-safe.
class ChangesUnderWay {
public:
    /// One change, from before its first provider is called to the return of the last.
    class [[nodiscard]] Change {
    public:
        Change(ChangesUnderWay& changes, const ConfigVar& var) : m_changes(changes), m_row(changes.begin(var)) {}
        ~Change() { m_changes.end(m_row); }
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

        /// \return whether a newer change of the variable was dispatched within this one.
        bool isOvertaken() const { return m_changes.isOvertaken(m_row); }

    private:
        friend class ChangesUnderWay;
        struct Row {
            ConfigVar var;
            std::thread::id thread;
            bool overtaken;
        };
        ChangesUnderWay& m_changes;
        const std::list<Row>::iterator m_row;
    };

private:
    std::list<Change::Row>::iterator begin(const ConfigVar& var) {
        const PlainLock lock(m_mutex);
        const std::thread::id me = std::this_thread::get_id();
        // What another thread dispatches has no order with this one.
        for (Change::Row& row : m_rows) row.overtaken = row.overtaken || (row.thread == me && row.var == var);
        return m_rows.insert(m_rows.end(), {var, me, false});
    }

    void end(std::list<Change::Row>::iterator row) {
        const PlainLock lock(m_mutex);
        m_rows.erase(row);
    }

    bool isOvertaken(std::list<Change::Row>::iterator row) {
        const PlainLock lock(m_mutex);
        return row->overtaken;
    }

    PlainMutex m_mutex;
    std::list<Change::Row> m_rows APPCONFIG_GUARDED_BY(m_mutex);
};

}  // namespace AppConfig
