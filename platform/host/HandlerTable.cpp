#include "HandlerTable.h"

#include <cstdio>
#include <exception>
#include <string>

#include "MessageIds.h"

namespace AppConfigHost {

namespace {

bool isTerminator(const MSG_Callback& row) {
    return row.entry == nullptr && row.context == nullptr && row.firstId == 0 && row.lastId == 0 && row.reserved == 0;
}

void reportThrow(std::uint32_t id, const char* what) {
    const std::string name(ConfigIF::messageName(id));
    std::fprintf(stderr, "appconfig: a handler of %s threw: %s\n", name.c_str(), what);
}

}  // namespace

void HandlerTable::add(const MSG_Callback* table) {
    const AppConfig::PlainLock lock(m_mutex);
    auto rows = std::make_shared<Rows>(*m_rows);
    for (; !isTerminator(*table); ++table) rows->push_back(*table);
    m_rows = std::move(rows);
}

bool HandlerTable::dispatch(const MSG_Message* message) const {
    std::shared_ptr<const Rows> rows;
    {
        const AppConfig::PlainLock lock(m_mutex);
        rows = m_rows;
    }
    const std::uint32_t id = MSG_GetId(message);
    bool calm = true;
    for (const MSG_Callback& row : *rows) {
        if (row.entry == nullptr || id < row.firstId || id > row.lastId) continue;
        try {
            row.entry(row.context, message);
        } catch (const std::exception& thrown) {
            reportThrow(id, thrown.what());
            calm = false;
        } catch (...) {
            reportThrow(id, "something that is no std::exception");
            calm = false;
        }
    }
    return calm;
}

}  // namespace AppConfigHost
