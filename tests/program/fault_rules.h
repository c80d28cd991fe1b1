#pragma once

#include <string>
#include <vector>

// What the tool does with a command's answer.
enum class Answer {
    kUnread,        // nothing: the command is only told
    kValue,         // takes a value from it; without one the run goes on
    kAcknowledged,  // wants its OK in a short buffer; without it the operation ends
    kReport,        // wants its OK in a long buffer; without it the operation ends
    kSim,           // wants what the SIM test is after; without it the operation ends
    kGenerator,     // shows it, whatever it is
};

// An operation as its reports name it, and what follows a report that ends it.
struct Operation {
    const char* name;
    int status = 0;  // exit status then
    const char* ending = "";
};

// Null texts: nothing special.
struct Step {
    std::string command;
    Answer answer = Answer::kUnread;
    const char* well = "";    // printed once the answer is there
    const char* failed = "";  // printed in place of it, if the answer lacks what is wanted
    const Operation* operation = nullptr;  // if it is not the dialogue's
    // Printed last if the line is hung up, where that costs more than one value.
    const char* lost = nullptr;
    // All that is printed from here on, if a failure shows only later.
    const char* rest = nullptr;
};

// One run of the tool: what it sends, and what it prints when all goes well.
struct Dialogue {
    const char* module;
    const char* arguments;
    const Operation* operation;
    std::vector<Step> steps;
    std::size_t from = 0;    // the first step that fails: earlier ones fail in another dialogue
    bool generator = false;  // it is the generator that fails
};

// The longest first.
const std::vector<Dialogue>& dialogues();

constexpr int kKilled = 128 + 15;  // exit status of a run that waited until it was killed

struct Outcome {
    std::string output;
    int status = 0;
    std::vector<std::string> commands;  // that went over the failing line
    bool isDriverLoaded = true;         // the generator's
};

// The run in which nothing fails.
Outcome soundOutcome(const Dialogue& dialogue);

// The run whose device fails so at the step.
Outcome faultyOutcome(const Dialogue& dialogue, std::size_t step, const std::string& fault);

// False if nobody can foretell it: the line goes while nobody reads from it, or an answer comes
// that nobody waits for.
bool canForetell(const Dialogue& dialogue, std::size_t step, const std::string& fault);

// Whether a run that nobody can foretell has ended in one of the ways that there are.
bool isPossible(const Dialogue& dialogue, std::size_t step, const Outcome& outcome);
