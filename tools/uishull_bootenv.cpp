// uishull-bootenv: prints, reads and changes the boot loader's environment,
// on the device or in image files; see bootenvUsage() for the command line.

#include "platform/bootenv_tool.h"

#include <cstdio>

int main(int argc, char** argv)
{
    return runBootenvTool(argc, argv, stdout, stderr);
}
