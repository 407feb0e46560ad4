#pragma once

#include <lumi/window.h>

#include <tuple>
#include <utility>
#include <vector>

namespace lumitest {

// A window that records the keys and pointer events it is given.
class InputRecorder : public MainWndBase {
public:
    int onKeydown(int key, int) override
    {
        keys.emplace_back(key, false);
        return 0;
    }
    int onKeyUp(int key, int) override
    {
        keys.emplace_back(key, true);
        return 0;
    }
    int onMouseEvent(int x, int y, unsigned int flags) override
    {
        pointer.emplace_back(x, y, flags);
        return 0;
    }

    std::vector<std::pair<int, bool>> keys; // key, released
    std::vector<std::tuple<int, int, unsigned int>> pointer;
};

} // namespace lumitest
