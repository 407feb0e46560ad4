#pragma once
// The handheld's key tables written out code by code, as the tests expect
// them (not read from the program): Linux key code -> toolkit key. Codes not
// listed give nothing.

#include <map>

namespace lumitest {

// The keys without Shift.
std::map<int, int> expectedDefaultKeyMap();
// The keys with Shift: the default map with the shifted characters, the
// keypad's arrows and no Space.
std::map<int, int> expectedShiftKeyMap();
// A letter key with Caps Lock: a-z and A-Z swapped, anything else kept.
int swapCase(int key);

}
