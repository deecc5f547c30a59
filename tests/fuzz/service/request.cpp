// Whatever clients send, each request is answered once, and no variable ever holds what its rules forbid.
//
// An input is a row of steps: one byte that chooses what happens, two bytes of length, and as many bytes of payload.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <map>
#include <memory>
#include <string>

#include "MessageIds.h"
#include "core/Core.h"
#include "definitions/DefinitionsReader.h"
#include "store/MemoryStore.h"
#include "wire/FrameVersion.h"

using namespace AppConfigService;
using AppConfigWire::Frame;

namespace {

constexpr const char* definitions = R"(
variable { node: "n" attribute: "i" type: INT default_value: "7" minimum: 0 maximum: 100 }
variable { node: "n" attribute: "t" type: TEXT max_length: 4 option: "a" option: "b" write_level: 1 }
variable { node: "n" node_instance: 1 attribute: "l" type: LIST max_elements: 2 read_level: 1 }
)";

constexpr const char* requests[] = {"ConfigIF.ReadReq",
                                    "ConfigIF.WriteReq",
                                    "ConfigIF.ValidateReq",
                                    "ConfigIF.ResetValueReq",
                                    "ConfigIF.GetAttributeOptionsReq",
                                    "ConfigIF.GetDefaultOptionsReq",
                                    "ConfigIF.SetAttributeOptionsReq",
                                    "ConfigIF.GetAccessLevelsReq",
                                    "ConfigIF.SetAccessLevelsReq",
                                    "ConfigIF.RegisterClientCallbackReq",
                                    "ConfigIF.UnregisterClientCallbackReq",
                                    "ConfigIF.UnregisterAllClientCallbacksReq",
                                    "ConfigIF.BatchReadReq",
                                    "ConfigAdmin.ListVariablesReq",
                                    "ConfigAdmin.SubmitReq",
                                    "ConfigAdmin.StatisticsReq"};

class Bench : public Outbox {
public:
    Bench() : m_core(m_store, *this, ServiceOptions(), [](LogLevel, const std::string&) {}) {
        const auto parsed = readDefinitions({{"file", definitions}});
        if (!parsed || !m_core.start(*parsed, m_now)) std::abort();
        connect();
    }

    void step(std::uint8_t choice, const std::string& payload) {
        constexpr std::size_t kinds = std::size(requests);
        if (choice < 2 * kinds) {
            request(requests[choice % kinds], payload,
                    choice < kinds ? AppConfigWire::REQUEST : AppConfigWire::ONE_WAY);
        } else if (choice < 0x80) {
            Frame frame;
            if (frame.ParseFromString(payload) && frame.has_kind())
                feed(choice % 2 == 0 ? m_requests : m_delivery, frame);
        } else if (choice < 0xC0) {
            answer(payload);
        } else if (choice < 0xE0) {
            m_now += std::chrono::milliseconds(50 * payload.size());
            m_core.tick(m_now);
        } else if (choice < 0xF0) {
            m_core.disconnected(m_delivery, m_now);
            m_core.disconnected(m_requests, m_now);
            connect();
        } else {
            m_store.failWith(choice % 2 == 0 ? "full" : "");
            m_room = choice % 4 < 2;
            if (m_room) m_core.drained(m_delivery, m_now);
        }
        settle();
        check();
    }

    void send(ConnectionId connection, const Frame& frame) override {
        if (frame.kind() == AppConfigWire::REPLY && m_awaited[connection]-- != 1) std::abort();
        if (frame.kind() == AppConfigWire::ASK) m_asked = frame.correlation();
        if (connection == m_closedLast) std::abort();
    }
    bool hasRoom(ConnectionId) override { return m_room; }
    void idle(ConnectionId) override {}
    void close(ConnectionId connection) override { m_closedLast = connection; }

private:
    void connect() {
        m_delivery = open(AppConfigWire::DELIVERY);
        m_requests = open(AppConfigWire::REQUESTS);
    }

    ConnectionId open(AppConfigWire::Purpose purpose) {
        const ConnectionId id = m_next++;
        m_core.connected(id, {}, m_now);
        Frame hello;
        hello.set_kind(AppConfigWire::HELLO);
        hello.mutable_hello()->set_version(AppConfigWire::frameVersion);
        hello.mutable_hello()->set_endpoint("client");
        hello.mutable_hello()->set_purpose(purpose);
        feed(id, hello);
        return id;
    }

    void feed(ConnectionId connection, const Frame& frame) {
        if (m_core.busy(connection)) return;
        if (frame.kind() == AppConfigWire::REQUEST) m_awaited[connection] = 1;
        m_core.receive(connection, frame, m_now);
    }

    void request(const std::string& type, const std::string& payload, AppConfigWire::Kind kind) {
        Frame frame;
        frame.set_kind(kind);
        frame.set_message_id(ConfigIF::messageId(type));
        frame.set_payload(payload);
        feed(m_requests, frame);
    }

    void answer(const std::string& payload) {
        Frame frame;
        frame.set_kind(AppConfigWire::ANSWER);
        frame.set_correlation(m_asked);
        frame.add_answer(payload);
        feed(m_delivery, frame);
    }

    void settle() {
        while (m_core.needsFlush()) m_core.flush(m_now);
    }

    void check() {
        m_core.catalogue().each([](const Variable& variable) {
            if (!checkValue(*variable.definition, variable.row.options, variable.row.value)) std::abort();
            if (variable.row.readLevel < 0 || variable.row.readLevel > highestRole) std::abort();
        });
    }

    MemoryStore m_store;
    Core m_core;
    Time m_now{};
    ConnectionId m_next = 1;
    ConnectionId m_delivery = 0;
    ConnectionId m_requests = 0;
    ConnectionId m_closedLast = 0;
    std::uint64_t m_asked = 0;
    bool m_room = true;
    std::map<ConnectionId, int> m_awaited;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Bench bench;
    std::size_t at = 0;
    while (at + 3 <= size) {
        const std::uint8_t choice = data[at];
        const std::size_t length = std::min<std::size_t>(data[at + 1] * 256U + data[at + 2], size - at - 3);
        bench.step(choice, std::string(reinterpret_cast<const char*>(data) + at + 3, length));
        at += 3 + length;
    }
    return 0;
}
