#pragma once

namespace AppConfigWire {}

/// The transport speaks of nothing but frames, endpoints and their like: their names stand for themselves here.
namespace AppConfigHost {
using namespace AppConfigWire;
}
