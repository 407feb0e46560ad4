#pragma once

#include <cstdlib>
#include <string>

namespace lumitest {

// Sets (or, with nullptr, clears) an environment variable for one test and
// puts the old value back.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const char* value)
        : m_name(name)
    {
        if (const char* old = std::getenv(name)) {
            m_had = true;
            m_old = old;
        }
        if (value)
            setenv(name, value, 1);
        else
            unsetenv(name);
    }
    ScopedEnv(const char* name, const std::string& value)
        : ScopedEnv(name, value.c_str())
    {
    }
    ~ScopedEnv()
    {
        if (m_had)
            setenv(m_name.c_str(), m_old.c_str(), 1);
        else
            unsetenv(m_name.c_str());
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    std::string m_name;
    std::string m_old;
    bool m_had { false };
};

} // namespace lumitest
