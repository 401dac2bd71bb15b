#include "BlueZAir.hpp"
#include "ControllerAir.hpp"
#include "Program.hpp"

#include <CLI/CLI.hpp>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <exception>
#include <future>
#include <memory>
#include <string>

namespace {

using namespace tarnel;

/// Lines from the standard input, answered on the standard output; its end ends the program.
class Console {
public:
    Console(bluez::EventLoop& loop, radio::Program& program, std::promise<void>& ended)
        : loop_(loop), program_(program), ended_(ended) {
        loop_.watch(STDIN_FILENO, POLLIN, [this](short) { read(); });
    }

private:
    void read() {
        std::array<char, 4096> buffer{};
        const auto size = ::read(STDIN_FILENO, buffer.data(), buffer.size());
        if (size <= 0) {
            loop_.unwatch(STDIN_FILENO);
            ended_.set_value();
            return;
        }
        text_.append(buffer.data(), static_cast<std::size_t>(size));
        for (auto end = text_.find('\n'); end != std::string::npos; end = text_.find('\n')) {
            const std::string line = text_.substr(0, end);
            text_.erase(0, end + 1);
            std::puts(program_.perform(line).c_str());
            std::fflush(stdout);
        }
    }

    bluez::EventLoop& loop_;
    radio::Program& program_;
    std::promise<void>& ended_;
    std::string text_;
};

struct Arguments {
    std::string adapter; ///< of the service; empty: the controller
    radio::ControllerAir::Options controller;
    glasses::GlassesOptions glasses;
};

void run(const Arguments& arguments) {
    bluez::EventLoop loop;
    std::promise<void> ended;
    std::unique_ptr<radio::Program> program;
    std::unique_ptr<Console> console;
    loop.post([&] {
        try {
            program = std::make_unique<radio::Program>(
                loop, arguments.glasses, [&](const glasses::GlassesOptions& options, radio::AirListener listener) {
                    if (!arguments.adapter.empty()) {
                        return std::unique_ptr<radio::Air>(
                            std::make_unique<radio::BlueZAir>(loop, arguments.adapter, options, std::move(listener)));
                    }
                    return std::unique_ptr<radio::Air>(std::make_unique<radio::ControllerAir>(
                        loop, arguments.controller, options, std::move(listener)));
                });
            console = std::make_unique<Console>(loop, *program, ended);
            std::puts("ready");
            std::fflush(stdout);
        } catch (...) {
            ended.set_exception(std::current_exception());
        }
    });
    ended.get_future().get();
    loop.post([&] {
        console.reset();
        program.reset();
    });
    loop.end();
}

} // namespace

int main(int count, char** values) {
    Arguments arguments;
    CLI::App app("Glasses on a controller of their own, for the tests of the radio.");
    app.add_option("--adapter", arguments.adapter,
                   "An adapter of the Bluetooth service, hci1, in place of a controller");
    app.add_flag("--pairing", arguments.glasses.requiresPairing, "The data service needs a bond");
    app.add_option("--controller", arguments.controller.controller, "The number of the controller, 1 for hci1");
    app.add_option("--mtu", arguments.controller.mtu, "The largest ATT MTU")->check(CLI::Range(23, 517));
    app.add_option("--protocol", arguments.glasses.protocolVersion, "The protocol version")->check(CLI::Range(1, 2));
    app.add_flag_callback(
        "--own-address", [&] { arguments.controller.randomAddress = {1, 0, 0, 0xee, 0xff, 0xc0}; },
        "The static address C0:FF:EE:00:00:01 in place of the controller's");
    app.add_option("--name", arguments.glasses.name, "The name");
    CLI11_PARSE(app, count, values);
    try {
        run(arguments);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "radio_glasses: %s\n", error.what());
        return 1;
    }
    return 0;
}
