// What a reply says about success, whatever its type.
#include <gmock/gmock.h>
#include <google/protobuf/message_lite.h>

#include <memory>
#include <ostream>
#include <string>
#include <vector>

#include "ReplyError.h"
#include "configadmin.pb.h"
#include "configservice.pb.h"
#include "reply.pb.h"

namespace {

using namespace AppConfigHost;
using google::protobuf::MessageLite;
using testing::ElementsAre;
using testing::IsEmpty;

struct ReplyCase {
    const MessageLite* type;
    std::vector<std::string> texts;
    std::string bytes;  ///< of a reply with the error -3 and, where there is room, the text "why"
};

const std::string minusThree = "\xFD\xFF\xFF\xFF\xFF\xFF\xFF\xFF\xFF\x01";
const std::string errorFirst = "\x08" + minusThree;
const std::string returnMessage = "\x0A\x10\x08" + minusThree + "\x1A\x03why";
const std::string levelRefused = "\x0A\x0B\x10" + minusThree;

template <typename Reply>
ReplyCase withError() {
    return {&Reply::default_instance(), {}, errorFirst};
}
template <typename Reply>
ReplyCase withResult() {
    return {&Reply::default_instance(), {"why"}, returnMessage};
}

void PrintTo(const ReplyCase& row, std::ostream* out) {
    *out << row.type->GetTypeName();
}

class ReplyErrors : public testing::TestWithParam<ReplyCase> {
protected:
    const std::unique_ptr<MessageLite> reply{GetParam().type->New()};
};

TEST_P(ReplyErrors, AreReadWhereTheTypeHasThem) {
    EXPECT_EQ(readReplyError(*reply).error, 0);
    EXPECT_THAT(readReplyError(*reply).messages, IsEmpty());
    ASSERT_TRUE(reply->ParseFromString(GetParam().bytes));
    EXPECT_EQ(readReplyError(*reply).error, -3);
    EXPECT_EQ(readReplyError(*reply).messages, GetParam().texts);
}

INSTANTIATE_TEST_SUITE_P(
    Table, ReplyErrors,
    testing::Values(withError<ConfigIF::ReadRsp>(), withResult<ConfigIF::WriteRsp>(),
                    withResult<ConfigIF::ValidateRsp>(), withError<ConfigIF::ResetValueRsp>(),
                    withError<ConfigIF::GetAttributeOptionsRsp>(), withError<ConfigIF::GetDefaultOptionsRsp>(),
                    withError<ConfigIF::SetAttributeOptionsRsp>(), withError<ConfigIF::GetAccessLevelsRsp>(),
                    ReplyCase{&ConfigIF::SetAccessLevelsRsp::default_instance(), {}, levelRefused},
                    withError<ConfigIF::RegisterClientCallbackRsp>(),
                    withError<ConfigIF::UnregisterClientCallbackRsp>(),
                    withError<ConfigIF::UnregisterAllClientCallbacksRsp>(), withResult<ConfigIF::DynamicValidateRsp>(),
                    withResult<ConfigIF::OnChangeRsp>(), withError<ConfigAdmin::ListVariablesRsp>(),
                    withResult<ConfigAdmin::SubmitRsp>(), withError<ConfigAdmin::StatisticsRsp>()),
    [](const auto& row) {
        const std::string name = row.param.type->GetTypeName();
        return name.substr(name.find('.') + 1);
    });

TEST(ReplyErrorView, SeesANumberThatTheEnumDrops) {
    ErrorView error;
    error.set_error(-4711);
    ConfigIF::ReadRsp read;
    ASSERT_TRUE(read.ParseFromString(error.SerializeAsString()));
    EXPECT_FALSE(read.has_error());
    EXPECT_EQ(readReplyError(read).error, -4711);
    ResultView result;
    result.mutable_result()->set_error(4711);
    ConfigIF::WriteRsp write;
    ASSERT_TRUE(write.ParseFromString(result.SerializeAsString()));
    EXPECT_EQ(readReplyError(write).error, 4711);
}

TEST(ReplyErrorView, TakesTheFirstOfSeveralRefusals) {
    ConfigIF::SetAccessLevelsRsp levels;
    levels.add_access_error()->set_error(CommonIF::ERROR_REJECTED);
    levels.add_access_error()->set_error(CommonIF::ERROR_ACCESS_DENIED);
    EXPECT_EQ(readReplyError(levels).error, CommonIF::ERROR_REJECTED);
}

TEST(ReplyErrorView, TakesEveryText) {
    ConfigIF::WriteRsp write;
    write.mutable_result()->add_message("one");
    write.mutable_result()->add_message("two");
    EXPECT_THAT(readReplyError(write).messages, ElementsAre("one", "two"));
}

TEST(ReplyErrorView, TakesNoOptionForAText) {
    ConfigIF::GetAttributeOptionsRsp options;
    options.add_option("an option");
    EXPECT_THAT(readReplyError(options).messages, IsEmpty());
}

TEST(ReplyErrorView, FindsNothingInAMessageThatIsNoReply) {
    ConfigIF::ReadReq request;
    request.set_client_name("x");
    EXPECT_EQ(readReplyError(request).error, 0);
}

}  // namespace
