// The bytes of each kind of frame. Peers of another version may be speaking on the other end, so a change here is a new
// version of the frames, not a new line in the file.
#include <gtest/gtest.h>

#include <fstream>
#include <map>
#include <string>

#include "wire/FrameCodec.h"
#include "wire/FrameVersion.h"

namespace {

using namespace AppConfigWire;

std::map<std::string, std::string> golden() {
    std::map<std::string, std::string> lines;
    std::ifstream file(APPCONFIG_GOLDEN_DIR "/frames-v" + std::to_string(frameVersion) + ".txt");
    for (std::string kind, hex; file >> kind >> hex;) lines[kind] = hex;
    return lines;
}

std::string hexOf(const std::string& bytes) {
    std::string result;
    for (const char c : bytes) {
        const auto byte = static_cast<unsigned char>(c);
        result += "0123456789abcdef"[byte >> 4U];
        result += "0123456789abcdef"[byte & 15U];
    }
    return result;
}

void fillHello(Hello& hello) {
    hello.set_version(frameVersion);
    hello.set_endpoint("node2/radio-17");
    hello.set_purpose(DELIVERY);
    hello.set_joined(7);
    hello.set_delivered(300);
    hello.set_timeline(0x1122334455667788);
    hello.set_registrations(2);
    hello.set_registrations_digest(0xFEDCBA9876543210);
    Point* const seen = hello.add_seen();
    seen->set_timeline(0x0102030405060708);
    seen->set_number(12);
    hello.set_connection(5);
}

Registration registration(const std::string& name) {
    Registration row;
    row.set_requester("radio-17");
    row.set_role(40);
    row.set_name(name);
    row.set_type(3);
    row.set_callback("on-change");
    return row;
}

void setMessage(Frame& frame) {
    frame.set_message_id(0x1A0404);
    frame.set_payload(std::string("a\0\xFF", 3));
}

void setPoint(Frame& frame) {
    frame.set_timeline(0x1122334455667788);
    frame.set_as_of(301);
}

/// \return a frame with every field that its kind carries.
Frame filled(Kind kind) {
    Frame frame;
    frame.set_kind(kind);
    switch (kind) {
        case HELLO: fillHello(*frame.mutable_hello()); break;
        case WELCOME:
            frame.mutable_welcome()->set_changes(301);
            frame.mutable_welcome()->set_timeline(0x1122334455667788);
            frame.mutable_welcome()->set_registrations_known(false);
            frame.mutable_welcome()->set_point_known(true);
            break;
        case REQUEST:
            frame.set_correlation(9);
            setMessage(frame);
            break;
        case REPLY:
            frame.set_correlation(9);
            frame.set_status(UNREADABLE);
            setMessage(frame);
            setPoint(frame);
            break;
        case ONE_WAY: setMessage(frame); break;
        case NOTIFICATION:
            setMessage(frame);
            setPoint(frame);
            frame.set_sequence(300);
            break;
        case ASK:
            frame.set_correlation(9);
            setMessage(frame);
            setPoint(frame);
            break;
        case ANSWER:
            frame.set_correlation(9);
            frame.add_answer("yes");
            frame.add_answer("");
            break;
        case GOODBYE: break;
        case REFUSED: frame.set_reason("too many clients"); break;
        case REGISTRATIONS:
            frame.set_correlation(9);
            *frame.add_registration() = registration("net.wifi");
            *frame.add_withdrawn() = registration("audio");
            frame.set_complete(true);
            break;
        case REGISTERED: {
            frame.set_correlation(9);
            Refusal* const refusal = frame.add_refusal();
            refusal->set_index(1);
            refusal->set_error(-5);
            break;
        }
        case REACHED:
            frame.set_correlation(9);
            frame.set_timeline(0x1122334455667788);
            frame.set_sequence(300);
            break;
        case HANDLED: frame.set_correlation(9); break;
    }
    return frame;
}

TEST(GoldenFrames, AreWhatEachKindOfFrameTravelsAs) {
    const auto lines = golden();
    for (int number = Kind_MIN; number <= Kind_MAX; ++number) {
        if (!Kind_IsValid(number)) continue;
        const Kind kind = static_cast<Kind>(number);
        const auto line = lines.find(Kind_Name(kind));
        EXPECT_EQ(line == lines.end() ? "no golden bytes" : line->second, hexOf(encodeFrame(filled(kind))))
            << Kind_Name(kind);
    }
}

TEST(GoldenFrames, AreReadBackWhole) {
    for (const auto& [kind, hex] : golden()) {
        std::string bytes;
        for (std::size_t at = 0; at < hex.size(); at += 2) {
            bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
        }
        FrameDecoder decoder;
        decoder.feed(bytes.data(), bytes.size());
        Frame frame;
        ASSERT_TRUE(decoder.next(frame).value_or(false)) << kind;
        EXPECT_TRUE(decoder.isEmpty()) << kind;
        EXPECT_EQ(Kind_Name(frame.kind()), kind);
        EXPECT_TRUE(frame.unknown_fields().empty()) << kind;
        EXPECT_EQ(frame.SerializeAsString(), filled(frame.kind()).SerializeAsString()) << kind;
    }
}

}  // namespace
