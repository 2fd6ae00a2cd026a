// The other end of a pipe: runs statements against the library and answers with their rows.
//
// A request is a line "COMMAND n1 n2 ..." with the lengths of the texts that follow it, without
// anything between them. An answer is a count of texts, and each text with its length, all numbers
// as 4 bytes, least first. Its first text is "1" or "0" for success, the second the message, the
// third the number of columns; then come their names and the values, row by row.
//
//     create PATH          close              pack
//     option KEY VALUE     query STATEMENT [PARAMETER ...]
//     view STATEMENT [PARAMETER ...]          open PATH
//
// A program of its own, so that the scripts that drive it work with any build, the sanitizers' too,
// and live to tell which statement a crash came from.

#include <cstdint>
#include <cstdio>
#include <sstream>
#include <string>
#include <vector>

#include "ovrasql/ovrasql.h"

namespace {

constexpr size_t kMostRows = 100000;  // a view that gives more has gone astray

void Append32(std::string& out, size_t number) {
    for (int shift = 0; shift < 32; shift += 8) {
        out += static_cast<char>((number >> shift) & 0xFF);
    }
}

// Reads one request; false at the end of the input.
bool ReadRequest(std::vector<std::string>& texts) {
    char line[4096];
    if (std::fgets(line, sizeof line, stdin) == nullptr) {
        return false;
    }
    std::istringstream header(line);
    std::string command;
    header >> command;
    texts.assign(1, command);
    for (size_t length = 0; header >> length;) {
        std::string text(length, '\0');
        if (length > 0 && std::fread(text.data(), 1, length, stdin) != length) {
            return false;
        }
        texts.push_back(text);
    }
    return true;
}

void Answer(const std::vector<std::string>& texts) {
    std::string out;
    Append32(out, texts.size());
    for (const std::string& text : texts) {
        Append32(out, text.size());
        out += text;
    }
    std::fwrite(out.data(), 1, out.size(), stdout);
    std::fflush(stdout);
}

std::vector<ovra_parameter> Parameters(const std::vector<std::string>& texts) {
    std::vector<ovra_parameter> parameters;
    for (size_t i = 2; i < texts.size(); ++i) {
        parameters.push_back({texts[i].data(), static_cast<int32_t>(texts[i].size())});
    }
    return parameters;
}

// All rows of a view, with those that came before a failure.
std::vector<std::string> ReadView(ovra_database* database, const std::vector<std::string>& texts) {
    const std::vector<ovra_parameter> parameters = Parameters(texts);
    ovra_view* view =
        ovra_open_view(database, texts[1].data(), static_cast<int32_t>(texts[1].size()),
                       parameters.data(), static_cast<int32_t>(parameters.size()));
    if (view == nullptr) {
        return {"0", ovra_error(database), "0"};
    }
    const int32_t columns = ovra_column_count(view);
    std::vector<std::string> answer = {"1", "", std::to_string(columns)};
    for (int32_t i = 0; i < columns; ++i) {
        int32_t length = 0;
        const char* name = ovra_column_name(view, i, &length);
        answer.emplace_back(name, static_cast<size_t>(length));
    }
    int32_t next = 0;
    size_t rows = 0;
    while ((next = ovra_next(view)) == 1 && ++rows <= kMostRows) {
        for (int32_t i = 0; i < columns; ++i) {
            int32_t length = 0;
            const char* text = ovra_text(view, i, &length);
            answer.emplace_back(text, static_cast<size_t>(length));
        }
    }
    if (next != 0) {
        answer[0] = "0";
        answer[1] = next < 0 ? ovra_error(database) : "more rows than anybody asked for";
    }
    ovra_close_view(view);
    return answer;
}

std::vector<std::string> Result(ovra_database* database, int32_t result) {
    return {result == 1 ? "1" : "0", result == 1 ? "" : ovra_error(database), "0"};
}

std::vector<std::string> Run(ovra_database*& database, const std::vector<std::string>& texts) {
    const std::string& command = texts[0];
    if (command == "create" || command == "open") {
        ovra_close(database);
        database = nullptr;
        return Result(database, command == "create" ? ovra_create(texts.at(1).c_str(), &database)
                                                    : ovra_open(texts.at(1).c_str(), &database));
    }
    if (command == "option") {
        return Result(database,
                      ovra_set_option(database, texts.at(1).c_str(), texts.at(2).c_str()));
    }
    if (command == "pack") {
        return Result(database, ovra_pack(database));
    }
    if (command == "query") {
        const std::vector<ovra_parameter> parameters = Parameters(texts);
        return Result(
            database,
            ovra_query(database, texts.at(1).data(), static_cast<int32_t>(texts.at(1).size()),
                       parameters.data(), static_cast<int32_t>(parameters.size())));
    }
    if (command == "view") {
        return ReadView(database, texts);
    }
    if (command == "close") {
        ovra_close(database);
        database = nullptr;
        return {"1", "", "0"};
    }
    return {"0", "unknown command", "0"};
}

}  // namespace

int main() {
    ovra_database* database = nullptr;
    std::vector<std::string> texts;
    while (ReadRequest(texts)) {
        Answer(Run(database, texts));
    }
    ovra_close(database);
    return 0;
}
