#pragma once

#ifdef __linux__
#include <pty.h>
#else
#include <util.h>
#endif
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <cstdlib>
#include <string>

// A pty of which the test holds both ends, so that the line stays as it is between its users.
struct HeldPty {
    int master = -1;
    int slave = -1;
    std::string path;

    explicit HeldPty(bool isRaw = true) {
        char name[128];
        if (openpty(&master, &slave, name, nullptr, nullptr) == -1) std::abort();
        path = name;
        for (const int end : {master, slave}) fcntl(end, F_SETFD, FD_CLOEXEC);
        termios settings = {};
        tcgetattr(slave, &settings);
        if (isRaw) cfmakeraw(&settings);
        tcsetattr(slave, TCSANOW, &settings);
    }
    ~HeldPty() {
        close(master);
        close(slave);
    }
    HeldPty(const HeldPty&) = delete;
    HeldPty& operator=(const HeldPty&) = delete;
};
