#pragma once

#include <list>
#include <map>
#include <thread>

#include "AppConfig/ConfigVar.h"
#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"
#include "model/Revision.h"

namespace AppConfig {

/// The changes that providers are being asked to apply; makes sure that an older value does not follow a newer one.
/// While a provider waits for a reply, the next change of the same variable may be dispatched inside its call and be
/// applied by every provider. And a transport that was replaced may dispatch an older question after the new one has
/// dispatched a newer. Revisions of different runs cannot be compared: of calls on two threads, the one that began
/// later counts as newer. Calls that begin at the same moment have no order. Thread-safe.
class ChangesUnderWay {
public:
    /// For how many variables the newest number is remembered; beyond that it begins again.
    static constexpr std::size_t mostRemembered = 65536;

    /// One change, from before its first provider is called to the return of the last.
    class [[nodiscard]] Change {
    public:
        Change(ChangesUnderWay& changes, const ConfigVar& var, const Revision& revision)
            : m_changes(changes), m_row(changes.begin(var, revision)) {}
        ~Change() { m_changes.end(m_row); }
        Change(const Change&) = delete;
        Change& operator=(const Change&) = delete;

        /// \return whether a newer change of the variable was dispatched: within this one, or elsewhere as far as
        /// revisions tell.
        bool isOvertaken() const { return m_changes.isOvertaken(m_row); }

    private:
        friend class ChangesUnderWay;
        struct Row {
            ConfigVar var;
            std::thread::id thread;
            Revision revision;
            bool overtaken;
        };
        ChangesUnderWay& m_changes;
        const std::list<Row>::iterator m_row;
    };

private:
    std::list<Change::Row>::iterator begin(const ConfigVar& var, const Revision& revision) {
        const PlainLock lock(m_mutex);
        const std::thread::id me = std::this_thread::get_id();
        for (Change::Row& row : m_rows) {
            if (!(row.var == var)) continue;
            const bool within = row.thread == me && !revision.isOlderThan(row.revision);
            // Another thread dispatches for a transport that was replaced. The service was restarted since.
            const bool restarted = row.thread != me && row.revision.isOfAnotherTimelineThan(revision);
            row.overtaken = row.overtaken || within || restarted;
        }
        if (revision.known) {
            if (m_newest.size() >= mostRemembered && m_newest.count(var) == 0) m_newest.clear();
            Revision& newest = m_newest[var];
            if (!revision.isOlderThan(newest)) newest = revision;
        }
        return m_rows.insert(m_rows.end(), {var, me, revision, false});
    }

    void end(std::list<Change::Row>::iterator row) {
        const PlainLock lock(m_mutex);
        m_rows.erase(row);
    }

    bool isOvertaken(std::list<Change::Row>::iterator row) {
        const PlainLock lock(m_mutex);
        if (row->overtaken) return true;
        const auto newest = m_newest.find(row->var);
        return newest != m_newest.end() && row->revision.isOlderThan(newest->second);
    }

    PlainMutex m_mutex;
    std::list<Change::Row> m_rows APPCONFIG_GUARDED_BY(m_mutex);
    std::map<ConfigVar, Revision> m_newest APPCONFIG_GUARDED_BY(m_mutex);  ///< of each variable, once one was numbered
};

}  // namespace AppConfig
