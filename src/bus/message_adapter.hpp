#pragma once

#include <ecu/kova/com/transport_client.hpp>
#include <ecu/kova/date_time.hpp>
#include <ecu/pb/modem.pb.h>

#include <cstdint>
#include <limits>
#include <optional>
#include <stdexcept>
#include <string>

/// The unit's bus frame: an 18-byte `XRTHeader` (two fixed 64-bit protobuf fields), then the serialised body.
/// The header's length word holds the protocol type (bits 0-15), the header length (16-31) and the body
/// length (32-63), both in bytes. Logs on "kova.com.messageadapter". Any thread, one adapter a thread.
namespace ecu::kova::com {

constexpr std::size_t XRT_HEADER_LENGTH = 18; // two tags of one byte, two values of eight

template <class T>
struct DeserializeResult {
    int code = 0; ///< 0 success; 1 too short, 2 no header, 3 type not used, 4 header length, 5 body
    T value;

    explicit operator bool() const { return code == 0; }
};

/// The part of the frame that does not depend on the body's type.
class FrameCodec {
public:
    explicit FrameCodec(int protocol_type) : protocol_type_(protocol_type) {}

    int protocol_type() const { return protocol_type_; }
    /// Whether a frame that cannot be read is logged; it is, unless told otherwise.
    void log_refusals(bool log) { log_refusals_ = log; }

protected:
    /// Header and room for the body. Throws std::runtime_error.
    Message::Payload open_frame(std::int64_t time_stamp_ns, std::size_t body_length) const;
    /// The checks of the header in the order of their codes; on 0 `body_length` says how much body there is.
    int check_header(const Message& message, std::size_t& body_length);
    static void log_failure(const std::exception& error);
    void log_bad_body() const;

private:
    void log_bad_header(const char* text) const;

    int protocol_type_; // only the low 16 bits travel
    bool log_refusals_ = true;
};

template <class T>
class PbInternalMessageAdapter : public FrameCodec {
public:
    explicit PbInternalMessageAdapter(int protocol_type = 1) : FrameCodec(protocol_type) {}

    /// Nothing (logged) when the body cannot be serialised; never a partial frame.
    std::optional<Message> serialize(const T& body) const
    {
        try {
            const std::int64_t time_stamp = DateTime::time_since_boot_ns();
            const std::size_t length = body.ByteSizeLong();
            Message::Payload frame = open_frame(time_stamp, length);
            if (!body.SerializeToArray(frame.data() + XRT_HEADER_LENGTH, static_cast<int>(length))) {
                throw std::runtime_error("unable to serialize body!");
            }
            return Message(std::move(frame), time_stamp);
        } catch (const std::exception& error) {
            log_failure(error);
            return std::nullopt;
        }
    }

    /// The protocol type received is kept once the header has been read. Surplus bytes are ignored.
    DeserializeResult<T> deserialize(const Message& message)
    {
        DeserializeResult<T> result;
        std::size_t length = 0;
        result.code = check_header(message, length);
        if (result.code == 0 && !result.value.ParseFromArray(message.payload().data() + XRT_HEADER_LENGTH,
                                                             static_cast<int>(length))) {
            result.code = 5;
        }
        if (result.code == 5) {
            log_bad_body();
            result.value.Clear();
        }
        return result;
    }
};

} // namespace ecu::kova::com
