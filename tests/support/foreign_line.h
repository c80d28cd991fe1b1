#pragma once

#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <thread>

#include "tests/support/held_pty.h"
#include "tests/support/operation_run.h"

// A device that plays a script on one pty, which stays open whoever comes and goes, as that of
// other people's simulators does.
class ForeignLine {
  public:
    explicit ForeignLine(Script script) : device_([this, script] { play(pty.master, script); }) {
        chmod(pty.path.c_str(), 0666);
    }
    ~ForeignLine() {
        if (write(pty.slave, &kEndOfScript, 1) == -1) abort();
        device_.join();
    }

    const HeldPty pty;

  private:
    std::thread device_;
};
