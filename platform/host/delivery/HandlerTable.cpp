#include "delivery/HandlerTable.h"

#include <algorithm>
#include <cstdio>
#include <exception>
#include <utility>

#include "MessageIds.h"
#include "StandIn.h"

namespace AppConfigHost {

namespace {

void reportThrow(std::uint32_t id, const char* what) {
    const std::string name(ConfigIF::messageName(id));
    std::fprintf(stderr, "appconfig: a handler of %s threw: %s\n", name.c_str(), what);
}

}  // namespace

bool isTerminator(const MSG_Callback& row) {
    return row.entry == nullptr && row.context == nullptr && row.firstId == 0 && row.lastId == 0 && row.reserved == 0;
}

bool isSameRow(const MSG_Callback& one, const MSG_Callback& other) {
    return one.entry == other.entry && one.context == other.context && one.firstId == other.firstId &&
           one.lastId == other.lastId;
}

std::set<std::string> HandlerTable::add(const MSG_Callback* table) {
    std::set<std::string> endpoints = m_named.take();
    const AppConfig::PlainLock lock(m_mutex);
    auto next = std::make_shared<Rows>(*m_rows);
    for (; !isTerminator(*table); ++table) {
        if (table->entry == nullptr) continue;
        // A link that is given back a transport that it had before adds its table once more.
        auto row = std::find_if(next->rows.begin(), next->rows.end(),
                                [table](const Row& present) { return isSameRow(present.callback, *table); });
        if (row == next->rows.end())
            row = next->rows.insert(row, Row{*table, StandIn::contextBehind(table->context), false, {}, {}});
        row->takesAll = row->takesAll || endpoints.empty();
        row->endpoints.insert(endpoints.begin(), endpoints.end());
        for (const std::string& endpoint : endpoints) row->handedOver.erase(endpoint);
        next->owned.insert(endpoints.begin(), endpoints.end());
    }
    m_rows = std::move(next);
    return endpoints;
}

bool HandlerTable::handOver(void* link, const std::string& endpoint) {
    const AppConfig::PlainLock lock(m_mutex);
    auto next = std::make_shared<Rows>(*m_rows);
    bool others = false;
    for (Row& row : next->rows) {
        if (row.endpoints.count(endpoint) == 0) continue;
        if (row.link == link) {
            row.handedOver.insert(endpoint);
        } else if (row.handedOver.count(endpoint) == 0) {
            others = true;
        }
    }
    m_rows = std::move(next);
    return others;
}

bool HandlerTable::dispatch(const std::string& endpoint, const MSG_Message* message) const {
    std::shared_ptr<const Rows> current;
    {
        const AppConfig::PlainLock lock(m_mutex);
        current = m_rows;
    }
    const std::uint32_t id = MSG_GetId(message);
    const bool isOwned = current->owned.count(endpoint) != 0;
    const bool isQuestion = MSG_GetSender(message) != 0;
    bool calm = true;
    for (const Row& row : current->rows) {
        if (id < row.callback.firstId || id > row.callback.lastId) continue;
        if (isOwned && !row.takesAll && row.endpoints.count(endpoint) == 0) continue;
        if (!isQuestion && row.handedOver.count(endpoint) != 0) continue;
        try {
            row.callback.entry(row.callback.context, message);
        } catch (const std::exception& thrown) {
            reportThrow(id, thrown.what());
            calm = false;
        } catch (...) {
            reportThrow(id, "something other than a std::exception");
            calm = false;
        }
    }
    return calm;
}

}  // namespace AppConfigHost
