#include "Statistics.h"

#include <stdexcept>

#include "TransportStatus.h"
#include "UnixTransport.h"
#include "configadmin.pb.h"

namespace AppConfigTest {

Statistics statisticsOf(const ServiceProcess& service) {
    PbUtility::TransportOptions options;
    options.runtimeDirectory = service.runtimeDirectory();
    PbUtility::UnixTransport transport(options);
    ConfigAdmin::StatisticsReq request;
    ConfigAdmin::StatisticsRsp reply;
    if (transport.sendWaitResponse(request, &reply, "ConfigSrvc") != 0) {
        throw std::runtime_error("the service tells no statistics: " + PbUtility::lastTransportFailure());
    }
    Statistics result;
    for (const auto& count : reply.received()) result.received[count.type()] = count.count();
    for (const auto& count : reply.sent()) result.sent[count.type()] = count.count();
    result.clients = reply.clients();
    result.registrations = reply.registrations();
    return result;
}

}  // namespace AppConfigTest
