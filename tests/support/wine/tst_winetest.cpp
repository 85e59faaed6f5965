// SPDX-FileCopyrightText: 2026 The Vantra authors
// SPDX-License-Identifier: MIT
//
// The frame of the Wine tests itself: that a failing check, a crash and a skipped case are told, by
// this program run again with an argument.

#include "support/wine/winetest.h"

namespace {

struct Run
{
    int status = -1;
    std::string output;
};

// Runs this program for one of the cases that are not run by themselves.
Run runSelf(const char *name)
{
    char path[MAX_PATH];
    GetModuleFileNameA(nullptr, path, sizeof(path));
    const std::string command = std::string("\"") + path + "\" " + name;
    Run run;
    FILE *pipe = _popen(command.c_str(), "r");
    if (!pipe)
        return run;
    char line[512];
    while (std::fgets(line, sizeof(line), pipe))
        run.output += line;
    run.status = _pclose(pipe);
    return run;
}

bool contains(const std::string &text, const char *part)
{
    return text.find(part) != std::string::npos;
}

void failWithin()
{
    CHECK_EQ(1 + 1, 3);
}

} // namespace

TEST_CASE(aFailingCheck_isTold_andFails)
{
    const Run run = runSelf("failing");
    CHECK_EQ(run.status, 1);
    CHECK_TEXT(contains(run.output, "FAIL!  : failing"), run.output);
    CHECK_TEXT(contains(run.output, "1 + 1 is 2, not 3"), run.output);
    CHECK_TEXT(contains(run.output, "0 passed, 1 failed"), run.output);
}

TEST_CASE(aCrash_isTold_andFails)
{
    const Run run = runSelf("crashing");
    CHECK_EQ(run.status, 1);
    CHECK_TEXT(contains(run.output, "FAIL!  : crashing"), run.output);
    CHECK_TEXT(contains(run.output, "0xc0000005"), run.output);
}

TEST_CASE(aSkippedCase_isTold)
{
    const Run run = runSelf("skipped");
    CHECK_EQ(run.status, 77);
    CHECK_TEXT(contains(run.output, "SKIP   : skipped: not here"), run.output);
}

TEST_CASE(anUnknownName_fails)
{
    CHECK_EQ(runSelf("unheardOf").status, 1);
}

int main(int argc, char **argv)
{
    if (argc > 1) {
        winetest::add("failing", failWithin);
        winetest::add("crashing", [] { *reinterpret_cast<volatile int *>(16) = 1; });
        winetest::add("skipped", [] { winetest::skip("not here"); });
    }
    return winetest::run(argc, argv);
}
