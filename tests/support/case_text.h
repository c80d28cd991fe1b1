#pragma once

#include <iosfwd>
#include <string>
#include <vector>

// One line of a case: "MARK TEXT", or "|TEXT".
struct CaseLine {
    std::string place;  // such as "options.txt:12"
    std::string mark;
    std::string text;
};

struct Case {
    std::string title;  // what a failure is called by
    std::string place;  // of the title
    std::vector<CaseLine> lines;
};

// The cases that a text holds. Each of its lines is empty, begins with "# " as a remark does, or is
//
//     $ TITLE           the start of a block, which is a case
//     columns NAME...   the block is a case for each row
//     row WORD...       {NAME} is the row's word there; the last column's is all that is left
//     MARK TEXT, |TEXT  a line of the block; `marks` are those that this text has
//
// A line that is not understood ends the program with a message, as do two cases of one name.
std::vector<Case> readCases(const std::string& path, const std::vector<std::string>& marks);

// The case's title and place, for GoogleTest.
void PrintTo(const Case& testCase, std::ostream* stream);

// The title as GoogleTest wants the name of a parameter: letters, digits and underscores.
std::string nameOf(const Case& testCase);

// The line's text, in which \r, \n, \t, \\ and \xHH stand for the bytes that they are in C.
std::string unescaped(const CaseLine& line);

// The same as a line of output: with a line end, unless the text ends in \c.
std::string printed(CaseLine line);

// The text's words, parted by blanks.
std::vector<std::string> wordsOf(const std::string& text);

// Ends the program: the line is not understood.
[[noreturn]] void refuse(const CaseLine& line);
