// A transcript, which the input is, and the device that replays it.
#include <unistd.h>

#include <stdexcept>

#include "station/replay.h"
#include "station/transcript.h"
#include "tests/fuzz/fuzz_target.h"

using namespace station;

static void checkRecord(const Record& record) {
    const Record back = parseRecord(printRecord(record));
    require(back.time == record.time && back.name == record.name && back.mark == record.mark &&
                back.text == record.text,
            "a record can be read back");
}

static void replayAll(const std::string& path, const std::vector<Record>& records) {
    Replay replay(path, "m");
    std::string recorded;
    std::string replayed;
    bool isHeard = false;
    for (const Record& record : records) {
        if (record.name != "m") continue;
        if (record.mark == '<' && isHeard) recorded += record.text;
        if (record.mark != '<')
            isHeard = record.mark == '>' ||
                      (isHeard && record.text != "close" && record.text != "hang up");
        if (record.mark != '>') continue;
        for (const Answer& answer : replay.receive(record.text)) replayed += answer.bytes;
    }
    require(recorded == replayed, "the same dialogue gets the same answers");
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const int fd = fileno(tmpfile());
    static const std::string path = "/dev/fd/" + std::to_string(fd);
    const ssize_t written = pwrite(fd, data, size, 0);
    require(ftruncate(fd, written) == 0 && lseek(fd, 0, SEEK_SET) == 0, "a file");
    std::vector<Record> records;
    try {
        readTranscript(path, [&](const Record& record) { records.push_back(record); });
        for (const Record& record : records) checkRecord(record);
        require(lseek(fd, 0, SEEK_SET) == 0, "a file");
        replayAll(path, records);
    } catch (const std::invalid_argument& error) {
        require(std::string(error.what()).starts_with("transcript " + path),
                "a refusal names the file");
    }
    return 0;
}
