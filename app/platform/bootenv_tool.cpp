// The command line of uishull-bootenv.

#include "platform/bootenv_tool.h"

#include "platform/bootenv.h"
#include "platform/syspara.h"

#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

namespace {

constexpr int SINGLE_COPY_CHIP = 0x33570000;

const char USAGE[] = "Usage: uishull-bootenv [--image FILE [--image2 FILE2] [--single]] COMMAND\n"
                     "\n"
                     "Reads or changes the boot loader's environment: on the device (the\n"
                     "\"u-boot env\" partitions listed in /proc/mtd) or in image files.\n"
                     "\n"
                     "Commands:\n"
                     "  print            every variable, one NAME=VALUE a line, in flash order\n"
                     "  get NAME         the value of NAME\n"
                     "  set NAME VALUE   sets NAME (it moves to the end of the list) and writes\n"
                     "                   the environment back\n"
                     "  delete NAME      removes NAME and writes the environment back\n"
                     "  info             the layout and the copy in use\n"
                     "\n"
                     "Options:\n"
                     "  --image FILE     an environment image (64 KiB) instead of the device;\n"
                     "                   of the redundant layout (CRC, active flag, data) unless\n"
                     "                   --single is given\n"
                     "  --image2 FILE2   the second copy of a redundant environment\n"
                     "  --single         FILE has the single-copy layout (CRC, data)\n"
                     "  --help           this text\n"
                     "\n"
                     "A write goes to the inactive copy first and retires the old one after,\n"
                     "so that one valid copy survives a power loss.\n"
                     "Exit status: 0 done, 1 failed (no valid environment, no such variable,\n"
                     "no room, cannot write), 2 bad usage.\n";

struct Options {
    std::string image1;
    std::string image2;
    bool single { false };
    std::vector<std::string> words;
};

bool s_singleLayout = false;

// The chip identifier an image file stands for: one that keeps a single copy,
// or any other.
int imageSocInfo(int* id, int* second)
{
    *id = s_singleLayout ? SINGLE_COPY_CHIP : 0;
    *second = 0;
    return 0;
}

struct FreeDeleter {
    void operator()(char* p) const { std::free(p); }
};

int usageError(FILE* err, const char* text)
{
    fprintf(err, "uishull-bootenv: %s\n", text);
    fputs(USAGE, err);
    return BOOTENV_EXIT_USAGE;
}

int parse(int argc, char** argv, Options& options, FILE* err, bool& help)
{
    for (int i = 1; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--help" || arg == "-h") {
            help = true;
            return BOOTENV_EXIT_OK;
        }
        if (arg == "--single") {
            options.single = true;
        } else if (arg == "--image" || arg == "--image2") {
            if (i + 1 >= argc)
                return usageError(err, (arg + " needs a file").c_str());
            (arg == "--image" ? options.image1 : options.image2) = argv[++i];
        } else if (arg.size() > 1 && arg[0] == '-' && options.words.empty()) {
            return usageError(err, ("unknown option " + arg).c_str());
        } else {
            options.words.push_back(arg);
        }
    }
    if (options.words.empty())
        return usageError(err, "no command");
    if (!options.image2.empty() && options.image1.empty())
        return usageError(err, "--image2 needs --image");
    if (options.single && options.image1.empty())
        return usageError(err, "--single applies to image files (the device tells its layout)");
    if (options.single && !options.image2.empty())
        return usageError(err, "the single-copy layout has one image");
    const std::string& command = options.words[0];
    const size_t n = options.words.size();
    if ((command == "print" || command == "info") && n == 1)
        return BOOTENV_EXIT_OK;
    if ((command == "get" || command == "delete") && n == 2)
        return BOOTENV_EXIT_OK;
    if (command == "set" && n == 3)
        return BOOTENV_EXIT_OK;
    if (command == "print" || command == "info" || command == "get" || command == "delete"
        || command == "set")
        return usageError(err, ("wrong number of words for " + command).c_str());
    return usageError(err, ("unknown command " + command).c_str());
}

void printEntries(const char* image, FILE* out)
{
    int pos = envDataOffset();
    while (pos != 0 && image[pos] != 0) {
        size_t length = 0;
        while (pos + length < ENV_IMAGE_SIZE && image[pos + length] != 0)
            ++length;
        fwrite(image + pos, 1, length, out);
        fputc('\n', out);
        pos = env_find_next_pos(pos, image);
    }
}

void printInfo(FILE* out)
{
    if ((mtd_sector & 3) == 3) {
        fprintf(out, "layout: single copy\ncopy: 1\nsector: %d\n", mtd_sector);
        return;
    }
    fprintf(out, "layout: redundant copies\ncopy: %d (%s)\nsector: %d\n", mtd_sector & 3,
        (mtd_sector & 16) ? "flagged active" : "not flagged active", mtd_sector);
}

bool validName(const std::string& name)
{
    return !name.empty() && name.find('=') == std::string::npos;
}

} // namespace

const char* bootenvUsage()
{
    return USAGE;
}

int runBootenvTool(int argc, char** argv, FILE* out, FILE* err)
{
    Options options;
    bool help = false;
    const int parsed = parse(argc, argv, options, err, help);
    if (help) {
        fputs(USAGE, out);
        return BOOTENV_EXIT_OK;
    }
    if (parsed != BOOTENV_EXIT_OK)
        return parsed;
    const std::string& command = options.words[0];
    if ((command == "set" || command == "delete") && !validName(options.words[1])) {
        fprintf(err, "uishull-bootenv: a variable name is not empty and has no '='\n");
        return BOOTENV_EXIT_USAGE;
    }

    // The paths are writable: loading writes the partition digits into them.
    std::string path1 = options.image1.empty() ? ENV_BLOCK_PATH : options.image1;
    std::string path2 = options.image1.empty() ? ENV_BLOCK_PATH : options.image2;
    std::string where;
    std::unique_ptr<char, FreeDeleter> image;
    if (options.image1.empty()) {
        where = "the device";
        image.reset(sf_env_init(&path1[0], &path2[0]));
    } else {
        where = options.image1 + (options.image2.empty() ? "" : " and " + options.image2);
        s_singleLayout = options.single;
        image.reset(envLoadCopies(&path1[0], &path2[0], options.image2.empty() ? 1 : 2, imageSocInfo));
    }
    fflush(stdout);
    if (!image) {
        fprintf(err, "uishull-bootenv: no valid environment in %s%s\n", where.c_str(),
            !options.image1.empty() && !options.single && options.image2.empty()
                ? " (an image of the single-copy layout needs --single)"
                : "");
        return BOOTENV_EXIT_FAILED;
    }

    if (command == "print") {
        printEntries(image.get(), out);
        return BOOTENV_EXIT_OK;
    }
    if (command == "info") {
        printInfo(out);
        return BOOTENV_EXIT_OK;
    }
    const std::string& name = options.words[1];
    if (command == "get") {
        std::vector<char> value(ENV_IMAGE_SIZE);
        int length = ENV_IMAGE_SIZE;
        if (env_get_from_buffer(name.c_str(), value.data(), image.get(), &length) != 0) {
            fprintf(err, "uishull-bootenv: %s is not set\n", name.c_str());
            return BOOTENV_EXIT_FAILED;
        }
        fwrite(value.data(), 1, static_cast<size_t>(length), out);
        fputc('\n', out);
        return BOOTENV_EXIT_OK;
    }

    const char* value = command == "set" ? options.words[2].c_str() : nullptr;
    const int result = env_set_in_buffer(name.c_str(), value, image.get());
    if (result == -1) {
        fprintf(err, "uishull-bootenv: %s is not set\n", name.c_str());
        return BOOTENV_EXIT_FAILED;
    }
    if (result == 1) {
        fprintf(err, "uishull-bootenv: the entry of %s cannot be removed; nothing written\n", name.c_str());
        return BOOTENV_EXIT_FAILED;
    }
    if (result == 2) {
        fprintf(err, "uishull-bootenv: no room for %s=%s in the environment; nothing written\n", name.c_str(),
            value);
        return BOOTENV_EXIT_FAILED;
    }
    sf_env_update_crc(image.get());
    if (sf_env_write_back(image.get(), &path1[0], &path2[0]) != 0) {
        fprintf(err, "uishull-bootenv: cannot write the environment to %s%s\n", where.c_str(),
            mtd_sector == 17 && !options.image1.empty() && options.image2.empty()
                ? " (an active copy is rewritten into the other copy first: give it with --image2)"
                : "");
        return BOOTENV_EXIT_FAILED;
    }
    return BOOTENV_EXIT_OK;
}
