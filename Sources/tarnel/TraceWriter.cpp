#include "TraceWriter.hpp"

#include "JSON.hpp"
#include "Text.hpp"

#include <chrono>

namespace tarnel::command {
namespace {

const char* direction(glasses::GattTraceEvent::Kind kind) {
    switch (kind) {
    case glasses::GattTraceEvent::Kind::write:
        return "write";
    case glasses::GattTraceEvent::Kind::writeWithoutResponse:
        return "write_no_response";
    case glasses::GattTraceEvent::Kind::notify:
        break;
    }
    return "notify";
}

} // namespace

void TraceWriter::write(const glasses::GattTraceEvent& event) const {
    file_.write(text(JSON::Object{{"time", std::chrono::duration<double>(event.time).count()},
                                  {"direction", direction(event.kind)},
                                  {"characteristic", event.characteristic.string()},
                                  {"value", hexadecimal(event.value)}}) +
                "\n");
}

} // namespace tarnel::command
