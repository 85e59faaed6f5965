// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
#pragma once

#include <cstdio>
#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include <windows.h>

/// The frame of tests that run as Windows programs, where there is no Qt:
///
///     #include "support/wine/winetest.h"
///     TEST_CASE(clear_releasesTheSwapChain) { CHECK_EQ(chain.references, 0); }
///     WINETEST_MAIN()
///
/// The program runs all cases, or those that its arguments name, in the order of the file, and says
/// per case how it went. It ends with 0, with 1 if any failed, with 77 if none ran but some were
/// skipped. A check that fails ends its case; checks also work in functions that a case calls, on
/// the main thread. main() stays with the test so that it can set up what all cases share.
namespace winetest {

struct Failed
{
};
struct Skipped
{
    std::string reason;
};

struct Case
{
    const char *name;
    void (*run)();
};

inline std::vector<Case> &cases()
{
    static std::vector<Case> all;
    return all;
}

inline const char *&runningCase()
{
    static const char *name = "";
    return name;
}

inline bool add(const char *name, void (*run)())
{
    cases().push_back({name, run});
    return true;
}

template<typename Value>
std::string show(const Value &value)
{
    std::ostringstream out;
    out << value;
    return out.str();
}

[[noreturn]] inline void fail(const char *file, int line, const std::string &text)
{
    std::printf("FAIL!  : %s\n   %s\n   %s:%d\n", runningCase(), text.c_str(), file, line);
    throw Failed();
}

/// Ends the case as one that cannot run here.
[[noreturn]] inline void skip(const std::string &reason)
{
    throw Skipped{reason};
}

template<typename Left, typename Right>
void checkEqual(const Left &left, const Right &right, const char *leftText, const char *rightText,
                const char *file, int line)
{
    if (!(left == right))
        fail(file, line,
             std::string(leftText) + " is " + show(left) + ", not " + show(right) + " (" +
                 rightText + ")");
}

inline LONG CALLBACK onCrash(EXCEPTION_POINTERS *pointers)
{
    std::printf("FAIL!  : %s\n   crashed: exception 0x%08lx at %p\n", runningCase(),
                static_cast<unsigned long>(pointers->ExceptionRecord->ExceptionCode),
                pointers->ExceptionRecord->ExceptionAddress);
    std::fflush(stdout);
    ExitProcess(1);
}

inline int run(int argc, char **argv)
{
    std::setvbuf(stdout, nullptr, _IONBF, 0); // nothing is lost in a crash
    SetUnhandledExceptionFilter(onCrash);
    int passed = 0;
    int failed = 0;
    int skipped = 0;
    for (const Case &one : cases()) {
        bool wanted = argc < 2;
        for (int i = 1; i < argc; ++i)
            wanted = wanted || std::strcmp(argv[i], one.name) == 0;
        if (!wanted)
            continue;
        runningCase() = one.name;
        try {
            one.run();
            ++passed;
            std::printf("PASS   : %s\n", one.name);
        } catch (const Failed &) {
            ++failed;
        } catch (const Skipped &why) {
            ++skipped;
            std::printf("SKIP   : %s: %s\n", one.name, why.reason.c_str());
        }
    }
    std::printf("Totals: %d passed, %d failed, %d skipped\n", passed, failed, skipped);
    if (failed > 0)
        return 1;
    if (passed > 0)
        return 0;
    return skipped > 0 ? 77 : 1; // a name that no case has is an error
}

} // namespace winetest

#define TEST_CASE(name)                                                                            \
    static void name();                                                                            \
    [[maybe_unused]] static const bool name##Added = winetest::add(#name, name);                   \
    static void name()

#define CHECK(condition)                                                                           \
    do {                                                                                           \
        if (!(condition))                                                                          \
            winetest::fail(__FILE__, __LINE__, #condition " is false");                            \
    } while (false)

/// With the text of a std::string expression that tells more.
#define CHECK_TEXT(condition, text)                                                                \
    do {                                                                                           \
        if (!(condition))                                                                          \
            winetest::fail(__FILE__, __LINE__, std::string(#condition " is false: ") + (text));    \
    } while (false)

#define CHECK_EQ(left, right)                                                                      \
    winetest::checkEqual((left), (right), #left, #right, __FILE__, __LINE__)

#define WINETEST_MAIN()                                                                            \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        return winetest::run(argc, argv);                                                          \
    }
