#include "CommandLine.hpp"

int main(int argc, char** argv) {
    return tarnel::command::run(argc, argv);
}
