#pragma once

#include <cstdint>

// What the tool asks of its host besides the registry: it opens device nodes,
// pauses, shells out and reads its options through these alone.
namespace host {

// As open(2): a descriptor, or -1 with errno set. The caller closes it with CloseDevice, before it
// opens another.
int OpenDevice(const char* path, int flags);

// Closes a device, with which exclusive use of it ends.
void CloseDevice(int fd);

bool IsReadable(const char* path);

// Runs the line as system(3) does; returns its undecoded status.
int RunShell(const char* line);

std::uint32_t RealUserId();

void PauseMilliseconds(std::uint32_t milliseconds);

// Says on standard error what the user of this host can do after a search that found no module, if
// there is anything that the host knows of.
void ExplainNoModule();

// As getopt(3), with the Mac's reading order: the first word that is not an
// option ends the options.
int NextOption(int argc, char** argv, const char* letters);

}  // namespace host
