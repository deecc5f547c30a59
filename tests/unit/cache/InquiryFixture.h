#pragma once

#include <gtest/gtest.h>

#include <list>
#include <string>
#include <vector>

#include "cache/Inquiry.h"

namespace InquiryTests {

using AppConfig::ConfigAccessLevels;
using AppConfig::ConfigCache;
using AppConfig::ConfigValue;
using AppConfig::Inquiry;
using AppConfig::Revision;
using Item = AppConfig::Inquiry::Item;
using Outcome = AppConfig::Inquiry::Outcome;
using List = std::list<std::string>;
using Vector = std::vector<std::string>;

inline const ConfigVar target(3, "room.heating", 2, "target", 7);
inline const ConfigVar otherInstance(3, "room.heating", 2, "target", 8);
inline const ConfigVar otherNode(3, "room.cooling", 2, "target", 7);
inline const Revision unnumbered;

inline ConfigAccessLevels levels(AppConfig::SecurityRole read, AppConfig::SecurityRole write) {
    ConfigAccessLevels result;
    result.readRole = read;
    result.writeRole = write;
    result.hasReadRole = result.hasWriteRole = true;
    return result;
}

class InquiryTest : public ::testing::Test {
protected:
    ConfigValue record() { return cache.getConfigValue(target)->second; }
    List value() { return record().getValue(); }
    bool hasLost(Item item) { return Inquiry::hasLost(cache, target, item); }

    ConfigCache cache;
};

}  // namespace InquiryTests
