#pragma once
// The USB disk test: passes when the first SCSI disk node, /dev/sda, can be
// opened, which it can only while a USB disk is plugged in.

#include "testfun/log.hpp"

class TestUdisk : public TestItem {
public:
    explicit TestUdisk(char* name);

    // 0 when /dev/sda opens, else 1; stores the same value as the result.
    // Logs nothing.
    int execute(Log* log) override;
};
