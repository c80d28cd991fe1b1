#pragma once

#include <sys/types.h>

#include <csignal>
#include <map>
#include <string>
#include <vector>

// What one run of the built tool did.
struct ToolRun {
    int status = -1;     // as a shell would give it
    std::string output;  // standard output, whole
    std::string errors;  // standard error, whole
    double processorSeconds = 0;
};

// Waits for `program` (its first word is a path) and all that it prints. It is killed by SIGTERM,
// and counted as 143, after `limit` seconds. `environment` holds "NAME=VALUE" words.
ToolRun runProgram(const std::vector<std::string>& program,
                   const std::vector<std::string>& environment = {}, double limit = 60);

// The built programs' paths. TARNWICK_PROGRAMS in the environment is the folder of others than the
// released ones: those in the build folder's `dynamic` load their C library.
std::string toolPath();
std::string stationPath();

// A built station that serves until it is stopped; its root is a folder of its own below TMPDIR.
class TestStation {
  public:
    explicit TestStation(std::vector<std::string> options = {}, double timeScale = 0.005);
    ~TestStation();
    TestStation(const TestStation&) = delete;
    TestStation& operator=(const TestStation&) = delete;

    const std::string& root() const { return root_; }
    pid_t process() const { return process_; }

    // Runs the tool at this station, with the words of TARNWICK_UNDER in the environment in front,
    // such as "valgrind -q".
    ToolRun tool(const std::vector<std::string>& arguments, double limit = 60) const;
    // Runs the script by a shell in the root's folder tmp, with the built programs in its path. In
    // what is printed the root is "ROOT".
    ToolRun shell(const std::string& script) const;
    // Starts the tool, its output thrown away, and leaves it running.
    pid_t startTool(const std::vector<std::string>& arguments) const;
    // Runs the tool, and kills it `limit` seconds after the transcript showed a line that begins
    // with `line`, unless it ends before.
    ToolRun toolUntil(const std::vector<std::string>& arguments, const std::string& line,
                      double limit) const;

    // A file below the root, or "" when there is none.
    std::string read(const std::string& name) const;
    void write(const std::string& name, const std::string& content) const;

    // The transcript's lines so far, without their times.
    std::vector<std::string> transcript() const;
    // Waits until the transcript holds a line that begins with `start`, or fails the test.
    void waitFor(const std::string& start) const;

    // Stops the station by the signal, or waits for it to end by itself (0); its exit status.
    // Afterwards the transcript and the state files are complete.
    int stop(int signal = SIGTERM);
    // Stops the station; the commands that each of its lines was sent, parted by blanks, but for
    // lines that were sent none.
    std::map<std::string, std::string> wires();

  private:
    std::string root_;
    pid_t process_ = -1;
    int output_ = -1;
    int status_ = -1;
};
