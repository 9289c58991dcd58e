#include "events.hpp"
#include "freshness.hpp"

#include <nlohmann/json.hpp>

namespace celldctl {

namespace {

using Json = nlohmann::ordered_json;

Json json_of(const Fields& fields);

struct ToJson {
    Json operator()(std::nullptr_t) const { return nullptr; }
    Json operator()(std::int64_t number) const { return number; }
    Json operator()(const std::string& text) const { return text; }
    Json operator()(const std::vector<Fields>& list) const
    {
        auto array = Json::array();
        for (const auto& fields : list) {
            array.push_back(json_of(fields));
        }
        return array;
    }
};

Json json_of(const Fields& fields)
{
    auto object = Json::object();
    for (const auto& field : fields.all()) {
        object[field.name] = std::visit(ToJson(), field.value);
    }
    return object;
}

void add_connection(Json& line, const Event& event)
{
    const auto& connected = event.what.fields.all().front().value;
    line["kind"] = "connection";
    line["connected"] = std::get<std::int64_t>(connected) != 0;
    line["text"] = event.what.note;
}

void add_message(Json& line, const Event& event)
{
    line["kind"] = word(event.what.kind);
    line["topic"] = event.topic;
    line["retained"] = event.retained;
    if (event.age) {
        line["age_s"] = event.age->count();
    }
    if (!event.what.note.empty()) {
        line[event.what.malformed ? "error" : "note"] = event.what.note;
        line["payload"] = event.what.payload;
    }
    line["fields"] = json_of(event.what.fields);
}

} // namespace

std::string event_json(const Event& event)
{
    auto line = Json::object();
    line["time"] = time_text(event.when, true);
    if (is_of_connection(event)) {
        add_connection(line, event);
    } else {
        add_message(line, event);
    }
    const bool ascii = true;
    return line.dump(-1, ' ', ascii, Json::error_handler_t::replace) + '\n';
}

} // namespace celldctl
