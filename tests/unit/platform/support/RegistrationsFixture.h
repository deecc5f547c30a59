#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "TransportFixture.h"

namespace AppConfigTest {

/// Transports that register at a peer which takes registrations and says what it holds.
class RegistrationsFixture : public TransportFixture {
protected:
    RegistrationsFixture() {
        peer.setRegistrationsKnown(true);
        answerWith(0);
    }

    static void answerRegistration(ScriptedPeer::Connection& connection, const AppConfigWire::Frame& request,
                                   int error) {
        ConfigIF::RegisterClientCallbackRsp response;
        response.set_error(static_cast<CommonIF::eErrorType>(error));
        AppConfigWire::Frame reply;
        reply.set_kind(AppConfigWire::REPLY);
        reply.set_correlation(request.correlation());
        reply.set_status(AppConfigWire::OK);
        reply.set_message_id(request.message_id() + 1);
        response.SerializeToString(reply.mutable_payload());
        connection.send(reply);
    }
    /// How the service answers requests that register or unregister from now on.
    void answerWith(int error) {
        peer.onRequest([error](ScriptedPeer::Connection& connection, const AppConfigWire::Frame& request) {
            answerRegistration(connection, request, error);
        });
    }
    static int registerFor(PbUtility::PbUtils& transport, const std::string& name, int type = 3) {
        ConfigIF::RegisterClientCallbackReq request;
        request.set_client_name("self");
        request.set_role(CommonIF::SECURITY_ROLE_WIRE_20);
        request.set_var_name(name);
        request.set_type(static_cast<ConfigIF::CallbackType>(type));
        request.set_callback_name("link");
        ConfigIF::RegisterClientCallbackRsp response;
        return transport.sendWaitResponse(request, &response, "ConfigSrvc");
    }
    static int unregister(PbUtility::PbUtils& transport, const std::string& name) {
        ConfigIF::UnregisterClientCallbackReq request;
        request.set_client_name("self");
        request.set_var_name(name);
        request.set_type(ConfigIF::CALLBACK_CONFIG_CHANGED);
        request.set_callback_name("link");
        ConfigIF::UnregisterClientCallbackRsp response;
        return transport.sendWaitResponse(request, &response, "ConfigSrvc");
    }
    static void answerTold(ScriptedPeer::Connection& connection, const AppConfigWire::Frame& told,
                           const std::vector<int>& refused = {}) {
        AppConfigWire::Frame answer;
        answer.set_kind(AppConfigWire::REGISTERED);
        answer.set_correlation(told.correlation());
        for (const int index : refused) {
            AppConfigWire::Refusal* refusal = answer.add_refusal();
            refusal->set_index(static_cast<std::uint32_t>(index));
            refusal->set_error(-16);
        }
        connection.send(answer);
    }
    /// \return the names that the \p count-th REGISTRATIONS frame told.
    std::vector<std::string> told(std::size_t count) {
        const std::vector<AppConfigWire::Frame> frames = peer.await(AppConfigWire::REGISTRATIONS, count);
        std::vector<std::string> names;
        if (frames.size() < count) return names;
        for (const AppConfigWire::Registration& row : frames[count - 1].registration()) names.push_back(row.name());
        for (const AppConfigWire::Registration& row : frames[count - 1].withdrawn()) names.push_back("-" + row.name());
        return names;
    }
    /// Makes something happen behind whatever the delivery thread had to do at once.
    void settle(std::size_t delivery = 1) {
        const std::size_t before = peer.received(AppConfigWire::ANSWER).size();
        peer.awaitDelivery(delivery)->send(ask(1));
        peer.await(AppConfigWire::ANSWER, before + 1);
    }
    PbUtility::TransportOptions observed() {
        PbUtility::TransportOptions result = options();
        result.firstRegistrationPause = std::chrono::milliseconds(5);
        result.onRegistration = [this](const PbUtility::RegistrationReport& report) {
            journal.add(report.endpoint + " " + report.name + " " + std::to_string(report.type) + " " +
                        std::to_string(report.error));
        };
        return result;
    }

    Journal journal;
};

}  // namespace AppConfigTest
