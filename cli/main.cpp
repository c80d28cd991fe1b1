#include "cli/dispatcher.h"
#include "platform/standard_streams.h"

int main(int argc, char** argv) {
    occupyStandardStreams();
    return RunTarnwick(argc, argv);
}
