// Test cases kept as text in tests/data: blocks that begin with "== what the case shows",
// lines of bare words and quoted strings, "#" lines for comments. A new case is a new block.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace tarnik::test {

// One line of a case. Strings are in double quotes with \r, \n, \0, \xHH, \" and \\; a string
// followed by *N stands for N copies of it.
struct CaseLine {
    struct Token {
        std::string text;
        bool quoted;
    };
    std::vector<Token> tokens;

    // Where the word `key` stands; the end when it does not.
    size_t Find(const std::string& key) const {
        size_t at = 0;
        while (at < tokens.size() && (tokens[at].quoted || tokens[at].text != key))
            ++at;
        return at;
    }
    bool Has(const std::string& key) const { return Find(key) < tokens.size(); }
    // The word after `key`, or `fallback` without one.
    std::string Word(const std::string& key, const std::string& fallback = "") const {
        const size_t at = Find(key) + 1;
        return at < tokens.size() && !tokens[at].quoted ? tokens[at].text : fallback;
    }
    // The strings after `key`, up to the next word.
    std::vector<std::string> Strings(const std::string& key) const {
        std::vector<std::string> out;
        for (size_t at = Find(key) + 1; at < tokens.size() && tokens[at].quoted; ++at)
            out.push_back(tokens[at].text);
        return out;
    }
    // The words after `key`, up to the next string.
    std::vector<std::string> Words(const std::string& key) const {
        std::vector<std::string> out;
        for (size_t at = Find(key) + 1; at < tokens.size() && !tokens[at].quoted; ++at)
            out.push_back(tokens[at].text);
        return out;
    }
    std::string Text(const std::string& key) const {
        std::string text;
        for (const std::string& s : Strings(key))
            text += s;
        return text;
    }
};

struct Case {
    std::string name;
    std::vector<CaseLine> lines;

    // Every line that begins with `word`.
    std::vector<CaseLine> All(const std::string& word) const {
        std::vector<CaseLine> out;
        for (const CaseLine& line : lines) {
            if (line.Find(word) == 0)
                out.push_back(line);
        }
        return out;
    }
    bool Has(const std::string& word) const { return !All(word).empty(); }
    // The strings of every line that begins with `word`, joined, each line ended by `end`.
    std::string Text(const std::string& word, const std::string& end = "") const {
        std::string text;
        for (const CaseLine& line : All(word))
            text += line.Text(word) + end;
        return text;
    }
    // The line that begins with `word`; a missing one throws, which fails the test.
    CaseLine Line(const std::string& word) const { return All(word).at(0); }
};

inline CaseLine ParseCaseLine(const std::string& text) {
    CaseLine line;
    size_t at = 0;
    while ((at = text.find_first_not_of(' ', at)) != std::string::npos) {
        if (text[at] != '"') {
            const size_t end = std::min(text.find(' ', at), text.size());
            line.tokens.push_back({text.substr(at, end - at), false});
            at = end;
            continue;
        }
        std::string s;
        for (++at; at < text.size() && text[at] != '"'; ++at) {
            if (text[at] != '\\') {
                s += text[at];
                continue;
            }
            const char c = text[++at];
            if (c == 'x') {
                s += static_cast<char>(std::strtol(text.substr(at + 1, 2).c_str(), nullptr, 16));
                at += 2;
            } else {
                s += c == 'r' ? '\r' : c == 'n' ? '\n' : c == '0' ? '\0' : c;
            }
        }
        ++at;
        size_t copies = 1;
        if (at < text.size() && text[at] == '*')
            copies = std::strtoul(text.c_str() + at + 1, nullptr, 10);
        at = std::min(text.find(' ', at), text.size());
        line.tokens.insert(line.tokens.end(), copies, {s, true});
    }
    return line;
}

// UTF-8 of the data files as UTF-16; the texts tested stay within its first plane.
inline std::u16string Utf16(const std::string& text) {
    std::u16string out;
    for (size_t at = 0; at < text.size(); ++at) {
        const auto lead = static_cast<unsigned char>(text[at]);
        const int more = lead < 0x80 ? 0 : lead < 0xE0 ? 1 : 2;
        char16_t c = more == 0 ? lead : lead & (more == 1 ? 0x1F : 0x0F);
        for (int i = 0; i < more; ++i)
            c = static_cast<char16_t>(c << 6 | (text[++at] & 0x3F));
        out += c;
    }
    return out;
}

// The cases of one file of tests/data.
inline std::vector<Case> ReadCases(const std::string& file) {
    std::ifstream in(std::string(TARNIK_TEST_DATA) + "/" + file, std::ios::binary);
    EXPECT_TRUE(in.good()) << "cannot read " << file;
    std::vector<Case> cases;
    std::string text;
    while (std::getline(in, text)) {
        if (!text.empty() && text.back() == '\r')
            text.pop_back();
        if (text.rfind("== ", 0) == 0)
            cases.push_back({text.substr(3), {}});
        else if (!cases.empty() && !text.empty() && text[0] != '#')
            cases.back().lines.push_back(ParseCaseLine(text));
    }
    EXPECT_FALSE(cases.empty()) << file;
    return cases;
}

}  // namespace tarnik::test
