#pragma once

#include "Operation.hpp"

#include <string>
#include <vector>

namespace tarnel::command {

/// All operations of the bridge, group by group.
const std::vector<Operation>& operations();

std::vector<Operation> bridgeOperations();
std::vector<Operation> managerOperations();
std::vector<Operation> deviceOperations();
/// Of the background, and what concerns the whole canvas.
std::vector<Operation> canvasOperations();
/// Of labels, images and the animation.
std::vector<Operation> objectOperations();
/// Of the host's notifications, there and on the glasses.
std::vector<Operation> notificationOperations();
/// Of the simulated glasses and the host around the application.
std::vector<Operation> simulationOperations();

/// A line each, for the help.
std::string operationsHelp();

} // namespace tarnel::command
