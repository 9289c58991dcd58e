#include "at/line_editor.hpp"

#include <cctype>
#include <utility>

namespace bench {
namespace {

constexpr char CARRIAGE_RETURN = '\r'; ///< S3 of V.250
constexpr char BACKSPACE = '\b';       ///< S5 of V.250
constexpr std::size_t PREFIX_SIZE = 2; ///< "AT"

bool is_control(char byte)
{
    return std::iscntrl(static_cast<unsigned char>(byte)) != 0;
}

} // namespace

void LineEditor::feed(std::string_view bytes)
{
    for (const char byte : bytes) {
        feed(byte);
    }
}

void LineEditor::reset()
{
    line_.clear();
    too_long_ = false;
    echo_ = true;
}

void LineEditor::feed(char byte)
{
    if (is_control(byte) && byte != CARRIAGE_RETURN && byte != BACKSPACE) {
        return;
    }
    if (line_.size() < PREFIX_SIZE) {
        feed_prefix(byte);
        return;
    }
    if (echo_) {
        handlers_.echo({&byte, 1});
    }
    if (byte == CARRIAGE_RETURN) {
        end_line();
    } else if (byte == BACKSPACE) {
        if (line_.size() > PREFIX_SIZE) {
            line_.pop_back();
        }
    } else if (line_.size() >= MAX_LINE) {
        too_long_ = true;
    } else {
        line_ += byte;
    }
}

void LineEditor::feed_prefix(char byte)
{
    const bool letter_a = byte == 'A' || byte == 'a';
    const bool letter_t = byte == 'T' || byte == 't';
    if (letter_t && line_.size() == 1) {
        line_ += byte;
    } else if (letter_a) {
        line_ = byte; // also "AAT": the last A counts
    } else {
        line_.clear();
        return;
    }
    if (echo_) {
        handlers_.echo({&byte, 1});
    }
}

void LineEditor::end_line()
{
    const auto line = std::exchange(line_, {});
    if (std::exchange(too_long_, false)) {
        handlers_.overflow();
        return;
    }
    handlers_.command(line.substr(PREFIX_SIZE));
}

} // namespace bench
