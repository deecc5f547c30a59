#pragma once

#include "SocketTransport.h"

namespace PbUtility {

/// The transport between processes of one host: an endpoint is a Unix stream socket in a runtime directory. What it
/// owns, its threads and its errors are SocketTransport's.
///
/// A default runtime directory that belongs to somebody else, or that others may write to, is not used: every call then
/// returns TRANSPORT_BAD_ENDPOINT.
class UnixTransport final : public SocketTransport {
public:
    explicit UnixTransport(TransportOptions options = {});
};

}  // namespace PbUtility
