#pragma once
// Kernel device events: the netlink uevent socket the program binds, and the
// text of one event for the models that plug and unplug devices.

#include <string>
#include <vector>

namespace board {

// "ACTION@DEVPATH", ACTION=, DEVPATH= and vars, each ending in NUL, as the
// kernel's broadcast holds them (the socket's model adds the sequence number).
std::string ueventText(
    const std::string& action, const std::string& devpath, const std::vector<std::string>& vars);

}
