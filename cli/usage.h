#pragma once

// Prints the help on standard output. Returns what flushing it returned: 0, or EOF.
int Usage();
