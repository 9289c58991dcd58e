#pragma once

#include <functional>
#include <istream>
#include <string>

namespace ecu::kova::config {

/// Reads lines `key = value` (see configuration.hpp for the syntax). `pair` gets each key and value in order;
/// `fault` gets a text that names the line for each line that is none, and for the line where reading stopped
/// because the input is longer than any configuration (or cannot be read). Stops at the first fault for which
/// `fault` returns false. A byte-order mark in front and a carriage return at a line's end are no part of it.
void read_key_value_lines(std::istream& input,
                          const std::function<void(const std::string& key, const std::string& value)>& pair,
                          const std::function<bool(const std::string& text)>& fault);

/// Without blanks (spaces, tabs, a carriage return) at either end.
std::string without_blanks(const std::string& text);

} // namespace ecu::kova::config
