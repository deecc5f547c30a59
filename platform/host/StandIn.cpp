#include "StandIn.h"

#include <map>

#include "AppConfigLocks/PlainMutex.h"
#include "AppConfigLocks/ThreadAnnotations.h"

namespace AppConfigHost {

namespace {

struct Known {
    AppConfig::PlainMutex mutex;
    std::map<void*, void*> behind APPCONFIG_GUARDED_BY(mutex);
};

/// Stays to the end of the process: decorators may be static objects.
Known& known() {
    static Known& only = *new Known;
    return only;
}

}  // namespace

StandIn::StandIn(void* context, void* behind) : m_context(context) {
    const AppConfig::PlainLock lock(known().mutex);
    known().behind[context] = behind;
}

StandIn::~StandIn() {
    const AppConfig::PlainLock lock(known().mutex);
    known().behind.erase(m_context);
}

void* StandIn::contextBehind(void* context) {
    const AppConfig::PlainLock lock(known().mutex);
    for (auto found = known().behind.find(context); found != known().behind.end();
         found = known().behind.find(context)) {
        context = found->second;
    }
    return context;
}

}  // namespace AppConfigHost
