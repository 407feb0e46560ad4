// Loading display backends from plugins: the file is found, loaded, its one
// entry point checked for the interface version, and the display it opens is
// wrapped as an ordinary DisplayBackend whose input reaches the toolkit.

#include "display/plugin_display.h"

#include "display/display_plugin.h"
#include "display/sdl_display.h"

#include <lumi/app.h>
#include <lumi/mouse.h>

#include <climits>
#include <cstdlib>
#include <dlfcn.h>
#include <unistd.h>

namespace lumi {

namespace {

    constexpr size_t kErrorSize = 512;

    // dlerror() and a plugin's reason go into a one-line message.
    std::string oneLine(const char* text, size_t limit)
    {
        std::string line;
        for (size_t i = 0; text && text[i] && i < limit; ++i) {
            unsigned char c = static_cast<unsigned char>(text[i]);
            line += (c < 0x20 || c == 0x7f) ? ' ' : static_cast<char>(c);
        }
        return line;
    }

    std::string lastDlError()
    {
        const char* text = dlerror();
        return text ? oneLine(text, kErrorSize) : std::string("unknown error");
    }

    class PluginDisplay final : public DisplayBackend {
    public:
        PluginDisplay()
        {
            m_host.context = this;
            m_host.key = &PluginDisplay::onKey;
            m_host.pointer = &PluginDisplay::onPointer;
            m_host.quit = &PluginDisplay::onQuit;
        }

        // The plugin stays loaded: its libraries may have started threads or
        // registered handlers (SDL does) whose code must not go away under them.
        ~PluginDisplay() override
        {
            if (m_ops.destroy)
                m_ops.destroy(m_ops.self);
        }

        bool open(void* handle, const std::string& path, int width, int height, std::string& error)
        {
            dlerror();
            void* symbol = dlsym(handle, LUMI_DISPLAY_PLUGIN_ENTRY);
            if (!symbol) {
                error = path + ": not a display plugin, no entry point " + LUMI_DISPLAY_PLUGIN_ENTRY + " ("
                    + lastDlError() + ")";
                return false;
            }
            auto entry = reinterpret_cast<LumiDisplayPluginOpen>(symbol);
            uint32_t pluginAbi = 0;
            char reason[kErrorSize] = {};
            LumiDisplayOps ops {};
            int result = entry(
                LUMI_DISPLAY_PLUGIN_ABI, &pluginAbi, &m_host, width, height, &ops, reason, sizeof reason);
            if (pluginAbi != LUMI_DISPLAY_PLUGIN_ABI) {
                // Whatever it claims, a plugin of another interface is not called again.
                error = path + ": built for display plugin interface " + std::to_string(pluginAbi)
                    + ", this toolkit has " + std::to_string(LUMI_DISPLAY_PLUGIN_ABI);
                return false;
            }
            // From here on the plugin has started what it needed, and may have left it running.
            m_keepLoaded = true;
            if (result != 0) {
                reason[sizeof reason - 1] = '\0';
                error = oneLine(reason, sizeof reason);
                if (error.empty())
                    error = path + ": the plugin could not open its display";
                return false;
            }
            if (!ops.flush || !ops.pump || !ops.destroy || ops.width != width || ops.height != height
                || ops.pumpIntervalMs < 0) {
                if (ops.destroy)
                    ops.destroy(ops.self);
                error = path + ": the plugin's display is incomplete";
                return false;
            }
            m_ops = ops;
            return true;
        }

        bool keepLoaded() const { return m_keepLoaded; }

        int width() const override { return m_ops.width; }
        int height() const override { return m_ops.height; }
        int pumpIntervalMs() const override { return m_ops.pumpIntervalMs; }
        void pumpInput() override { m_ops.pump(m_ops.self); }

        void flush(const uint16_t* frame, int stride, const Rect* rects, int count) override
        {
            if (!frame || !rects)
                return;
            m_rects.clear();
            forEachFlushRect(frame, rects, count, m_ops.width, m_ops.height, [&](const Rect& r) {
                m_rects.push_back(LumiDisplayRect { r.left, r.top, r.width(), r.height() });
            });
            m_ops.flush(m_ops.self, frame, stride, m_rects.data(), static_cast<int>(m_rects.size()));
        }

    private:
        static void onKey(void*, int code, int released)
        {
            if (GuiRT* rt = GuiRT::instance())
                rt->deliverKeyEvent(code, released ? 1 : 0);
        }

        static void onPointer(void* context, int x, int y, int down)
        {
            auto* self = static_cast<PluginDisplay*>(context);
            MousePoint point;
            point.x = static_cast<short>(x < 0 ? 0 : (x >= self->m_ops.width ? self->m_ops.width - 1 : x));
            point.y = static_cast<short>(y < 0 ? 0 : (y >= self->m_ops.height ? self->m_ops.height - 1 : y));
            point.pressure = down ? 500 : 0;
            self->m_mouse.addPoint(point, down != 0);
        }

        static void onQuit(void*)
        {
            if (GuiApp* app = theGuiApp())
                app->exit(0);
        }

        LumiDisplayHost m_host {};
        LumiDisplayOps m_ops {};
        std::vector<LumiDisplayRect> m_rects;
        Mouse m_mouse;
        bool m_keepLoaded { false };
    };

    std::string executableDirectory()
    {
        char buffer[PATH_MAX];
        ssize_t length = readlink("/proc/self/exe", buffer, sizeof buffer - 1);
        if (length <= 0)
            return std::string();
        std::string path(buffer, static_cast<size_t>(length));
        size_t slash = path.rfind('/');
        return slash == std::string::npos ? std::string() : path.substr(0, slash);
    }

}

std::unique_ptr<DisplayBackend> openPluginDisplay(
    const std::string& path, int width, int height, std::string& error)
{
    dlerror();
    // RTLD_LOCAL: the plugin's libraries stay out of the program's symbol scope.
    void* handle = dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (!handle) {
        error = "cannot load display plugin " + path + ": " + lastDlError();
        return nullptr;
    }
    auto display = std::make_unique<PluginDisplay>();
    if (!display->open(handle, path, width, height, error)) {
        // A plugin that was not called, or refused at once for its version, may
        // go; one that tried to open its display keeps what it loaded.
        if (!display->keepLoaded())
            dlclose(handle);
        return nullptr;
    }
    return display;
}

std::vector<std::string> sdlPluginCandidates()
{
    std::string directory = executableDirectory();
    if (directory.empty())
        return {};
    return { directory + "/../lib/uishull/" + kSdlPluginName, directory + "/" + kSdlPluginName };
}

std::unique_ptr<DisplayBackend> createSdlDisplay(int width, int height, std::string& error)
{
    std::string path;
    const char* chosen = std::getenv(kSdlPluginVariable);
    if (chosen && *chosen) {
        path = chosen;
    } else {
#if LUMI_WITH_SDL
        std::vector<std::string> candidates = sdlPluginCandidates();
        if (candidates.empty()) {
            error = std::string("sdl: cannot find ") + kSdlPluginName
                + ": the program's own path is unknown (set LUMI_SDL_PLUGIN)";
            return nullptr;
        }
        // The first that exists; when none does, loading the first says why.
        path = candidates.front();
        for (const std::string& candidate : candidates) {
            if (access(candidate.c_str(), F_OK) == 0) {
                path = candidate;
                break;
            }
        }
#else
        error = "sdl: this build of the toolkit has no SDL2 support (LUMI_SDL_PLUGIN may name a plugin)";
        return nullptr;
#endif
    }
    std::unique_ptr<DisplayBackend> display = openPluginDisplay(path, width, height, error);
    if (!display)
        error = "sdl: " + error;
    return display;
}

}
