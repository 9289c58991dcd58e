// The pieces of the AT channel one by one, each beside the limit that a bare program sets (Google Benchmark).

#include "at/at_parser.hpp"
#include "bus/message_adapter.hpp"
#include "status/status_messages.hpp"

#include <benchmark/benchmark.h>
#include <cstddef>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace {

constexpr std::size_t STREAM_SIZE = std::size_t{64} * 1024;

/// Reports, one behind the other.
std::string stream_of(std::size_t size)
{
    std::string stream;
    while (stream.size() < size) {
        stream += "\r\n+CREG: 1,\"1F4E\",\"44A5F2\",2\r\n\r\n+CIEV: 2,3\r\n";
    }
    stream.resize(size);
    return stream;
}

/// One line without an end, as long as the parser takes it.
std::string endless_line()
{
    return std::string(STREAM_SIZE, 'x');
}

void count_bytes(benchmark::State& state, std::size_t size)
{
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(size));
}

/// The least that makes a record of each line.
void split(benchmark::State& state, const std::string& stream)
{
    for (auto _ : state) {
        std::vector<AtCommandResponse> records;
        std::string_view rest = stream;
        for (auto end = rest.find("\r\n"); end != std::string_view::npos; end = rest.find("\r\n")) {
            if (end != 0) {
                records.emplace_back(AtCommandResponse::Type::Unsolicited, rest.substr(0, end), "");
            }
            rest.remove_prefix(end + 2);
        }
        benchmark::DoNotOptimize(records);
    }
    count_bytes(state, stream.size());
}

void parse(benchmark::State& state, const std::string& stream, std::size_t piece)
{
    for (auto _ : state) {
        AtParser parser;
        for (std::size_t at = 0; at < stream.size(); at += piece) {
            parser.feed_input(stream.substr(at, piece));
            benchmark::DoNotOptimize(parser.take_responses());
        }
    }
    count_bytes(state, stream.size());
}

void frame(benchmark::State& state)
{
    ModemData data;
    data.operator_data.name = "Bench Mobile";
    for (auto _ : state) {
        const ecu::kova::com::PbInternalMessageAdapter<ecu::kova::pb::ModemStatus> adapter;
        benchmark::DoNotOptimize(adapter.serialize(status_messages::status(data)));
    }
}

/// The body alone, as the library writes it.
void frame_limit(benchmark::State& state)
{
    ModemData data;
    data.operator_data.name = "Bench Mobile";
    for (auto _ : state) {
        benchmark::DoNotOptimize(status_messages::status(data).SerializeAsString());
    }
}

} // namespace

BENCHMARK_CAPTURE(split, lines, stream_of(STREAM_SIZE));
BENCHMARK_CAPTURE(parse, lines_in_reads_of_2048, stream_of(STREAM_SIZE), 2048);
BENCHMARK_CAPTURE(parse, lines_in_one_piece, stream_of(STREAM_SIZE), STREAM_SIZE);
BENCHMARK_CAPTURE(parse, lines_byte_by_byte, stream_of(STREAM_SIZE), 1);
BENCHMARK_CAPTURE(parse, endless_in_one_piece, endless_line(), STREAM_SIZE);
BENCHMARK_CAPTURE(parse, endless_byte_by_byte, endless_line(), 1);
BENCHMARK(frame);
BENCHMARK(frame_limit);
