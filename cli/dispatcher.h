#pragma once

// The front end: reads the option, has the module table filled, narrows it to the tty that the
// operator named, serves each module, prints the results. Returns the exit status.
int RunTarnwick(int argc, char** argv);
