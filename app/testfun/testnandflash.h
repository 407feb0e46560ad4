#pragma once
// The internal storage test: passes when the kernel lists MTD block
// partitions in /proc/partitions, and logs each of their lines.

#include "testfun/log.hpp"

#include <cstddef>

class TestNandFlash : public TestItem {
public:
    explicit TestNandFlash(char* name);

    // 0 when at least one "mtdblock" line was found, else 1; stores the same
    // value as the result.
    int execute(Log* log) override;
};

// Goes through the text of /proc/partitions in lines of at most 127 bytes
// (a longer line is taken in pieces), logs every piece that contains
// "mtdblock" as it is (log may be null) and returns how many did.
int scanPartitions(const char* data, size_t size, Log* log);
