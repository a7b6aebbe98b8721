// Runs a shell command line for the tests that drive the tavrin binary as a user does: its exit
// code and what it wrote on standard output (redirect standard error in the line to keep it).
#pragma once

#include <sys/wait.h>

#include <array>
#include <cstdio>
#include <string>

namespace tv::test {

struct CliRun {
    int code = -1;    // the exit code, or -1 when the command did not exit normally
    std::string out;  // standard output (and standard error when the line sends it there)
};

inline CliRun RunShell(const std::string& commandLine) {
    CliRun r;
    FILE* pipe = popen(commandLine.c_str(), "r");
    if (!pipe) return r;
    std::array<char, 4096> buffer;
    size_t n;
    while ((n = fread(buffer.data(), 1, buffer.size(), pipe)) > 0) r.out.append(buffer.data(), n);
    const int status = pclose(pipe);
    r.code = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return r;
}

}  // namespace tv::test
