#include "MessageCommand.hpp"

#include "Failure.hpp"
#include "Files.hpp"
#include "JSON.hpp"
#include "MessageJSON.hpp"
#include "Text.hpp"

#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

#include <unistd.h>

namespace tarnel::command {
namespace {

constexpr std::size_t maximumInput = 64 * 1024 * 1024;

Bytes bytesOf(std::string_view text) {
    return {text.begin(), text.end()};
}

/// What to say of bytes that hold no value at `position`.
std::string explanation(const MessagePackError& error, std::size_t position) {
    const std::string place = "the value at byte " + std::to_string(position);
    if (error == MessagePackError::insufficientData) {
        return place + " is cut short; give the whole message";
    }
    return place + " is no MessagePack: it has an unused format byte, text that is not UTF-8, or more than " +
           std::to_string(deepestNesting) + " levels";
}

} // namespace

void encodeMessage(const MessageEncodeOptions& options) {
    const OutputFile output(options.output);
    const Bytes input = options.json == "-" ? readFile("-", maximumInput) : bytesOf(options.json);
    const auto json = parseJSON({reinterpret_cast<const char*>(input.data()), input.size()});
    const Bytes bytes = pack(messageFromJSON(json));
    if (options.asJSON) {
        output.store(
            bytesOf(text(JSON::Object{{"bytes", std::uint64_t{bytes.size()}}, {"hex", hexadecimal(bytes)}}) + "\n"));
    } else if (options.asHexadecimal || (output.isStandardOutput() && ::isatty(STDOUT_FILENO) != 0)) {
        output.store(bytesOf(hexadecimal(bytes) + "\n"));
    } else {
        output.store(bytes);
    }
}

void decodeMessages(const MessageDecodeOptions& options) {
    Bytes bytes;
    if (options.hexadecimal) {
        const auto given = bytesFromHexadecimal(*options.hexadecimal);
        if (!given) {
            throw Failure("--hex takes pairs of hexadecimal digits, e.g. 81a36c656405");
        }
        bytes = *given;
    } else {
        bytes = readFile(options.file, maximumInput);
    }
    if (bytes.empty()) {
        throw Failure("there are no bytes to decode");
    }
    Subdata rest{ByteView(bytes)};
    while (!rest.isEmpty()) {
        try {
            const auto read = unpack(rest);
            writeOutput(text(toJSON(read.value)) + "\n");
            rest = read.remainder;
        } catch (const MessagePackError& error) {
            throw Failure(explanation(error, rest.baseStartIndex()));
        }
    }
}

} // namespace tarnel::command
