#include "tests/support/case_text.h"

#include <algorithm>
#include <cctype>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <set>
#include <sstream>

namespace {

// A block whose rows are still to be filled in.
struct Block {
    Case shape;
    std::vector<std::string> columns;
    std::vector<CaseLine> rows;
};

CaseLine lineOf(const std::string& text, const std::string& place) {
    if (text.starts_with('|')) return {place, "|", text.substr(1)};
    const std::size_t end = std::min(text.find(' '), text.size());
    return {place, text.substr(0, end), text.substr(std::min(end + 1, text.size()))};
}

std::vector<Block> readBlocks(const std::string& path, const std::vector<std::string>& marks) {
    std::ifstream file(path);
    const std::string name = std::filesystem::path(path).filename();
    std::vector<Block> blocks;
    int number = 0;
    for (std::string text; std::getline(file, text);) {
        const CaseLine line = lineOf(text, name + ":" + std::to_string(++number));
        if (text.empty() || line.mark == "#") continue;
        if (line.mark == "$") {
            blocks.push_back({{line.text, line.place, {}}, {}, {}});
        } else if (blocks.empty()) {
            refuse(line);
        } else if (line.mark == "columns") {
            blocks.back().columns = wordsOf(line.text);
        } else if (line.mark == "row" && !blocks.back().columns.empty()) {
            blocks.back().rows.push_back(line);
        } else if (std::find(marks.begin(), marks.end(), line.mark) != marks.end()) {
            blocks.back().shape.lines.push_back(line);
        } else {
            refuse(line);
        }
    }
    return blocks;
}

std::string filled(std::string text, const std::string& column, const std::string& word) {
    const std::string mark = "{" + column + "}";
    for (std::size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += word.size()) {
        text.replace(at, mark.size(), word);
    }
    return text;
}

Case caseOf(const Block& block, const CaseLine& row) {
    Case result = block.shape;
    result.place = row.place;
    std::istringstream stream(row.text);
    for (const std::string& column : block.columns) {
        std::string word;
        if (&column == &block.columns.back()) {
            std::getline(stream >> std::ws, word);
        } else {
            stream >> word;
        }
        if (word.empty()) refuse(row);
        result.title = filled(result.title, column, word);
        for (CaseLine& line : result.lines) line.text = filled(line.text, column, word);
    }
    return result;
}

}  // namespace

void refuse(const CaseLine& line) {
    fprintf(stderr, "%s: not understood: %s %s\n", line.place.c_str(), line.mark.c_str(),
            line.text.c_str());
    exit(2);
}

std::vector<std::string> wordsOf(const std::string& text) {
    std::istringstream stream(text);
    std::vector<std::string> words;
    for (std::string word; stream >> word;) words.push_back(word);
    return words;
}

std::vector<Case> readCases(const std::string& path, const std::vector<std::string>& marks) {
    std::vector<Case> cases;
    for (const Block& block : readBlocks(path, marks)) {
        if (block.columns.empty()) cases.push_back(block.shape);
        for (const CaseLine& row : block.rows) cases.push_back(caseOf(block, row));
    }
    std::set<std::string> names;
    for (const Case& testCase : cases) {
        const std::string name = nameOf(testCase);
        if (name.empty() || !names.insert(name).second) {
            refuse({testCase.place, "a title of its own is wanted, not", testCase.title});
        }
    }
    return cases;
}

void PrintTo(const Case& testCase, std::ostream* stream) {
    *stream << testCase.place << ": " << testCase.title;
}

std::string nameOf(const Case& testCase) {
    std::string name;
    for (const char letter : testCase.title) {
        if (isalnum(static_cast<unsigned char>(letter))) {
            name += letter;
        } else if (!name.empty() && name.back() != '_') {
            name += '_';
        }
    }
    return name;
}

std::string unescaped(const CaseLine& line) {
    static const std::string kCodes = "rnt\\";
    static const char kBytes[] = "\r\n\t\\";
    std::string bytes;
    for (std::size_t at = 0; at < line.text.size(); ++at) {
        if (line.text[at] != '\\') {
            bytes += line.text[at];
            continue;
        }
        const std::string code = line.text.substr(at + 1, 3);
        const std::size_t known = code.empty() ? std::string::npos : kCodes.find(code[0]);
        unsigned value = 0;
        if (known != std::string::npos) {
            bytes += kBytes[known];
        } else if (sscanf(code.c_str(), "x%2X", &value) == 1) {
            bytes += static_cast<char>(value);
        } else {
            refuse(line);
        }
        at += known != std::string::npos ? 1 : 3;
    }
    return bytes;
}

std::string printed(CaseLine line) {
    const bool endsLine = !line.text.ends_with("\\c");
    if (!endsLine) line.text.resize(line.text.size() - 2);
    return unescaped(line) + (endsLine ? "\n" : "");
}
