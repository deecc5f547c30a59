#include "ReplyError.h"

#include <google/protobuf/message_lite.h>

#include <string_view>

#include "reply.pb.h"

namespace AppConfigHost {

namespace {

using google::protobuf::MessageLite;

enum class Shape {
    none,     ///< says nothing about success
    error,    ///< error = 1
    result,   ///< result = 1, a ReturnMessage: error = 1, message = 3
    refusals  ///< access_error = 1, AccessLevelErr each: error = 2
};

struct Row {
    std::string_view type;
    Shape shape;
};

constexpr Row shapes[] = {
    {"ConfigIF.ReadRsp", Shape::error},
    {"ConfigIF.WriteRsp", Shape::result},
    {"ConfigIF.ValidateRsp", Shape::result},
    {"ConfigIF.ResetValueRsp", Shape::error},
    {"ConfigIF.GetAttributeOptionsRsp", Shape::error},
    {"ConfigIF.GetDefaultOptionsRsp", Shape::error},
    {"ConfigIF.SetAttributeOptionsRsp", Shape::error},
    {"ConfigIF.GetAccessLevelsRsp", Shape::error},
    {"ConfigIF.SetAccessLevelsRsp", Shape::refusals},
    {"ConfigIF.RegisterClientCallbackRsp", Shape::error},
    {"ConfigIF.UnregisterClientCallbackRsp", Shape::error},
    {"ConfigIF.UnregisterAllClientCallbacksRsp", Shape::error},
    {"ConfigIF.DynamicValidateRsp", Shape::result},
    {"ConfigIF.OnChangeRsp", Shape::result},
    {"ConfigAdmin.ListVariablesRsp", Shape::error},
    {"ConfigAdmin.SubmitRsp", Shape::result},
    {"ConfigAdmin.StatisticsRsp", Shape::error},
};

Shape shapeOf(const MessageLite& reply) {
    const std::string type = reply.GetTypeName();
    for (const Row& row : shapes) {
        if (row.type == type) return row.shape;
    }
    return Shape::none;
}

}  // namespace

ReplyError readReplyError(const MessageLite& reply) {
    const Shape shape = shapeOf(reply);
    ReplyError result;
    if (shape == Shape::none) return result;
    const std::string bytes = reply.SerializePartialAsString();
    if (shape == Shape::error) {
        ErrorView view;
        view.ParseFromString(bytes);
        result.error = view.error();
    } else if (shape == Shape::result) {
        ResultView view;
        view.ParseFromString(bytes);
        result.error = view.result().error();
        result.messages.assign(view.result().message().begin(), view.result().message().end());
    } else {
        RefusalsView view;
        view.ParseFromString(bytes);
        if (view.access_error_size() > 0) result.error = view.access_error(0).error();
    }
    return result;
}

}  // namespace AppConfigHost
