// Progress on terminals.
#include <pty.h>
#include <sys/wait.h>

#include "host_support.h"
#include "shared/console.h"

namespace {

using namespace support;

/// What a child writes to a terminal of so many columns.
template <typename Child>
std::string on_terminal(unsigned short columns, Child child) {
    winsize size{24, columns, 0, 0};
    int terminal = -1;
    const pid_t pid = forkpty(&terminal, nullptr, nullptr, &size);
    if (pid == 0) {
        child();
        _exit(0);
    }
    std::string text;
    char buffer[512];
    for (ssize_t n = 0; (n = read(terminal, buffer, sizeof buffer)) > 0;)
        text.append(buffer, static_cast<std::size_t>(n));
    waitpid(pid, nullptr, 0);
    close(terminal);
    return text;
}

TEST(Progress, LineOnATerminalAndNothingElsewhere) {
    const auto work = [] {
        host::Progress progress("counting to ten", 10.0);
        host::Progress inner("inner");  // silent
        for (int i = 0; i < 27; ++i) {
            progress.done(10.0 * i / 27.0);
            usleep(100000);
        }
    };
    EXPECT_EQ(on_terminal(80, [] { host::Progress progress("short work", 1.0); }), "");
    for (unsigned short columns : {80, 22}) {
        const std::string text = on_terminal(columns, work);
        EXPECT_FALSE(text.empty() || holds(text, "\033") || holds(text, "inner")) << text;
        EXPECT_EQ(std::regex_search(text, std::regex("counting to ten  [78]\\d %, 0:0\\d left")), columns == 80)
            << text;
        // Each line within the terminal's width, and blanks over the last one.
        std::istringstream lines(text);
        for (std::string line; std::getline(lines, line, '\r');) EXPECT_LT(line.size(), columns) << line;
        EXPECT_TRUE(std::regex_search(text, std::regex("\r {21,}\r$"))) << text;
    }
}

TEST_F(HostTest, ProgressOfTheProgram) {
    const std::string tides = "exec timeout 4 " + kProgram +
                              " tide --blh 0 0 0 --epoch 2021-01-18T00:00:00 --duration 3e7 --interval 31 > /dev/null";
    const std::string text =
        on_terminal(80, [&] { execl("/bin/sh", "sh", "-c", tides.c_str(), static_cast<char*>(nullptr)); });
    EXPECT_TRUE(std::regex_search(text, std::regex("computing tides +\\d+ %, [0-9:]+ left"))) << text;
    EXPECT_EQ(capture(tides).text, "");
}

}  // namespace
