#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "MSG.h"
#include "PbUtils.h"
#include "TransportStatus.h"
#include "delivery/HandlerTable.h"

namespace AppConfigTest {

inline constexpr std::uint32_t loopMessage = 0x1A0143;

/// A transport without connections, whose messages the test hands to the tables.
class Loop : public PbUtility::PbUtils {
public:
    int sendWaitResponse(const google::protobuf::MessageLite&, google::protobuf::MessageLite*,
                         const std::string&) override {
        if (meanwhile) meanwhile();
        return PbUtility::TRANSPORT_NO_SUCH_ENDPOINT;
    }
    int send(const google::protobuf::MessageLite&, const std::string&, void*) override {
        return PbUtility::TRANSPORT_NO_SUCH_ENDPOINT;
    }
    int addRemoteEndpoint(const std::string& endpoint, int channel) override {
        table.nameEndpoint(endpoint);
        endpoints.push_back(endpoint + "/" + std::to_string(channel));
        return 0;
    }
    int addHandlers(const MSG_Callback* rows) override {
        if (rows == nullptr) return PbUtility::TRANSPORT_BAD_ARGUMENT;
        table.add(rows);
        if (!AppConfigHost::isTerminator(*rows)) ++tables;
        return 0;
    }
    std::string localEndpoint() const override { return "loop"; }

    void deliver(const std::string& endpoint) const {
        const std::unique_ptr<MSG_Message, void (*)(MSG_Message*)> message(MSG_Create(loopMessage, "", 0, "loop", 0),
                                                                           MSG_Destroy);
        table.dispatch(endpoint, message.get());
    }

    std::function<void()> meanwhile;  ///< called while a request is under way
    AppConfigHost::HandlerTable table;
    std::vector<std::string> endpoints;
    int tables = 0;
};

/// A row that writes down its name.
struct Mark {
    std::vector<std::string>& reached;
    std::string name;

    void addTo(PbUtility::PbUtils& transport) {
        const MSG_Callback rows[] = {{&Mark::note, this, loopMessage, loopMessage, 0}, {}};
        EXPECT_EQ(transport.addHandlers(rows), 0);
    }
    static void note(void* context, const MSG_Message*) {
        const auto* self = static_cast<const Mark*>(context);
        self->reached.push_back(self->name);
    }
};

}  // namespace AppConfigTest
