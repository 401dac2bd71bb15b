#include "Operations.hpp"

#include <iterator>

namespace tarnel::command {

const std::vector<Operation>& operations() {
    static const std::vector<Operation> all = [] {
        std::vector<Operation> joined;
        for (auto group : {bridgeOperations, managerOperations, deviceOperations, canvasOperations, objectOperations,
                           notificationOperations, simulationOperations}) {
            auto made = group();
            joined.insert(joined.end(), std::make_move_iterator(made.begin()), std::make_move_iterator(made.end()));
        }
        return joined;
    }();
    return all;
}

std::string operationsHelp() {
    std::string help;
    for (const Operation& operation : operations()) {
        help += "  " + operation.signature() + "\n      " + operation.about + "\n";
    }
    return help;
}

} // namespace tarnel::command
