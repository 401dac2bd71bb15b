#include "Commands.hpp"
#include "Failure.hpp"
#include "Files.hpp"
#include "JSON.hpp"
#include "MessageJSON.hpp"
#include "Options.hpp"
#include "Text.hpp"

#include <TarnelSDK/messagepack/Pack.hpp>
#include <TarnelSDK/messagepack/Unpack.hpp>

#include <unistd.h>

#include <optional>
#include <string>

namespace tarnel::command {
namespace {

struct MessageEncodeOptions {
    std::string json = "-"; ///< the JSON text, or "-" for standard input
    std::string output = "-";
    bool asHexadecimal = false;
    bool asJSON = false;
};

struct MessageDecodeOptions {
    std::string file = "-";
    std::optional<std::string> hexadecimal; ///< in place of the file
};

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

/// JSON to the bytes of one message.
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

/// The bytes of messages to JSON, a line each.
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

} // namespace

void addMessage(CLI::App& app, Action& action) {
    auto* message = app.add_subcommand("message", "Messages of the glasses: JSON to MessagePack and back");
    message->formatter(usage("Usage: tarnel message encode|decode ..."));
    message->require_subcommand(0, 1);
    message->footer(std::string(messageJSONHelp));

    auto encoding = std::make_shared<MessageEncodeOptions>();
    auto* encode = message->add_subcommand("encode", "JSON to the bytes of a message");
    encode->formatter(usage("Usage: tarnel message encode [JSON|-] [--hex|--json] [-o FILE]"));
    encode->add_option("JSON", encoding->json, "The message; - or nothing for standard input")->type_name("");
    encode->add_option("-o,--output", encoding->output, "Where the bytes go instead of standard output")
        ->type_name("FILE");
    auto* hex = encode->add_flag("--hex", encoding->asHexadecimal,
                                 "Write hexadecimal digits and a line feed (always so on a terminal)");
    encode->add_flag("--json", encoding->asJSON, R"(Write {"bytes": count, "hex": digits})")->excludes(hex);
    encode->footer(std::string(messageJSONHelp));
    encode->callback([encoding, &action] { action = [encoding] { encodeMessage(*encoding); }; });

    auto decoding = std::make_shared<MessageDecodeOptions>();
    auto* decode = message->add_subcommand("decode", "The bytes of one or more messages to JSON, a line each");
    decode->formatter(usage("Usage: tarnel message decode [FILE|-] | --hex DIGITS"));
    auto* file = decode->add_option("FILE", decoding->file, "The bytes; - or nothing for standard input");
    file->type_name("");
    decode->add_option("--hex", decoding->hexadecimal, "The bytes in hexadecimal digits, instead of a file")
        ->type_name("DIGITS")
        ->excludes(file);
    decode->add_flag("--json")->description("Does nothing: the output is JSON");
    decode->footer(std::string(messageJSONHelp));
    decode->callback([decoding, &action] { action = [decoding] { decodeMessages(*decoding); }; });
}

} // namespace tarnel::command
