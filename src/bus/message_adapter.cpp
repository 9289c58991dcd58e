#include "bus/message_adapter.hpp"

#include <ecu/kova/logging.hpp>

#include <new>

namespace ecu::kova::com {
namespace {

const logging::Module& LOG = logging::module("kova.com.messageadapter");

constexpr std::uint64_t PLACEHOLDER = 1;
constexpr unsigned HEADER_LENGTH_SHIFT = 16;
constexpr unsigned BODY_LENGTH_SHIFT = 32;
constexpr std::uint64_t LOW_16 = 0xffff;

Message::Payload allocate(std::size_t size)
{
    try {
        return Message::Payload(size);
    } catch (const std::exception&) {
        throw std::runtime_error("Unable to allocate memory for serialization!");
    }
}

} // namespace

Message::Payload FrameCodec::open_frame(std::int64_t time_stamp_ns, std::size_t body_length) const
{
    if (body_length > static_cast<std::size_t>(std::numeric_limits<int>::max())) {
        throw std::runtime_error("unable to serialize body!");
    }
    pb::XRTHeader header;
    header.set_length_word(PLACEHOLDER); // a fixed-width field has its length whatever it holds
    header.set_time_stamp(time_stamp_ns);
    const std::uint64_t header_length = header.ByteSizeLong();
    header.set_length_word((static_cast<std::uint64_t>(body_length) << BODY_LENGTH_SHIFT) |
                           (header_length << HEADER_LENGTH_SHIFT) |
                           (static_cast<std::uint64_t>(protocol_type_) & LOW_16));

    Message::Payload frame = allocate(header_length + body_length);
    if (header_length != XRT_HEADER_LENGTH ||
        !header.SerializeToArray(frame.data(), static_cast<int>(header_length))) {
        throw std::runtime_error("unable to serialize XRTheader!");
    }
    return frame;
}

int FrameCodec::check_header(const Message& message, std::size_t& body_length)
{
    const auto& payload = message.payload();
    if (payload.empty()) {
        return 1;
    }
    if (payload.size() < XRT_HEADER_LENGTH) {
        log_bad_header("Total length is smaller then expected header length");
        return 1;
    }
    pb::XRTHeader header;
    // Parsed partially and checked here: a missing field would otherwise be told on standard error as well.
    if (!header.ParsePartialFromArray(payload.data(), static_cast<int>(XRT_HEADER_LENGTH)) ||
        !header.IsInitialized()) {
        log_bad_header("Unable to decode the header.");
        return 2;
    }
    const std::uint64_t word = header.length_word();
    protocol_type_ = static_cast<int>(word & LOW_16);
    if (protocol_type_ == 0) {
        log_bad_header("ProtocolType is set to not used!");
        return 3;
    }
    if (((word >> HEADER_LENGTH_SHIFT) & LOW_16) != XRT_HEADER_LENGTH) {
        log_bad_header("Specified hdr-len does not comply.");
        return 4;
    }
    const std::uint64_t length = word >> BODY_LENGTH_SHIFT;
    if (length > payload.size() - XRT_HEADER_LENGTH ||
        length > static_cast<std::uint64_t>(std::numeric_limits<int>::max())) {
        return 5;
    }
    body_length = static_cast<std::size_t>(length);
    return 0;
}

void FrameCodec::log_failure(const std::exception& error)
{
    LOG.error(error.what());
}

void FrameCodec::log_bad_header(const char* text) const
{
    if (log_refusals_) {
        LOG.error(text);
    }
}

void FrameCodec::log_bad_body() const
{
    if (log_refusals_) {
        LOG.emergency("Unable to deserialize protobuf");
    }
}

} // namespace ecu::kova::com
