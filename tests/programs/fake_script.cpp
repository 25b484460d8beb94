#include "fake_script.h"

#include <algorithm>
#include <cstdlib>
#include <stdexcept>

namespace {

int digit_value(char digit)
{
    if (digit >= '0' && digit <= '9')
        return digit - '0';
    const char lower = static_cast<char>(digit | 0x20);
    return lower >= 'a' && lower <= 'f' ? lower - 'a' + 10 : -1;
}

char byte_of(char high, char low)
{
    const int h = digit_value(high);
    const int l = digit_value(low);
    if (h < 0 || l < 0)
        throw std::runtime_error("not hexadecimal");
    return static_cast<char>(h * 16 + l);
}

// `at` stands on the opening quotation mark and ends behind the closing one.
std::string quoted_word(std::string_view line, size_t& at)
{
    std::string word;
    for (++at; at < line.size() && line[at] != '"'; ++at) {
        if (line[at] != '\\') {
            word += line[at];
            continue;
        }
        const char escape = ++at < line.size() ? line[at] : '\0';
        switch (escape) {
        case 'r':
            word += '\r';
            break;
        case 'n':
            word += '\n';
            break;
        case 't':
            word += '\t';
            break;
        case '0':
            word += '\0';
            break;
        case '\\':
        case '"':
            word += escape;
            break;
        case 'x':
            if (at + 2 >= line.size())
                throw std::runtime_error("escape without digits");
            word += byte_of(line[at + 1], line[at + 2]);
            at += 2;
            break;
        default:
            throw std::runtime_error("unknown escape");
        }
    }
    if (at == line.size())
        throw std::runtime_error("no closing quotation mark");
    ++at;
    return word;
}

statement parse_line(std::string_view line, const std::map<std::string, std::string>& options)
{
    statement words;
    size_t at = 0;
    while (at < line.size()) {
        if (line[at] == ' ') {
            ++at;
        } else if (line[at] == '"') {
            words.push_back(quoted_word(line, at));
        } else {
            const size_t end = std::min(line.find(' ', at), line.size());
            std::string word(line.substr(at, end - at));
            at = end;
            if (word.starts_with("$--")) {
                const auto found = options.find(word.substr(1));
                if (found == options.end())
                    throw std::runtime_error("no option " + word.substr(1));
                word = found->second;
            }
            words.push_back(std::move(word));
        }
    }
    return words;
}

} // namespace

std::vector<statement> parse_script(std::string_view text, const std::map<std::string, std::string>& options)
{
    std::vector<statement> script;
    size_t number = 0;
    while (!text.empty()) {
        ++number;
        const size_t end = std::min(text.find('\n'), text.size());
        std::string_view line = text.substr(0, end);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.ends_with('\r'))
            line.remove_suffix(1);
        if (line.starts_with('#'))
            continue;
        try {
            if (statement words = parse_line(line, options); !words.empty())
                script.push_back(std::move(words));
        } catch (const std::runtime_error& failure) {
            throw std::runtime_error("line " + std::to_string(number) + ": " + failure.what());
        }
    }
    return script;
}

unsigned long long number_of(const std::string& word)
{
    char* end = nullptr;
    const unsigned long long value = std::strtoull(word.c_str(), &end, 0);
    if (word.empty() || *end)
        throw std::runtime_error("not a number: " + word);
    return value;
}

double real_of(const std::string& word)
{
    char* end = nullptr;
    const double value = std::strtod(word.c_str(), &end);
    if (word.empty() || *end)
        throw std::runtime_error("not a number: " + word);
    return value;
}

std::string hexadecimal_of(std::string_view bytes)
{
    static const char digits[] = "0123456789abcdef";
    std::string text;
    for (const char byte : bytes) {
        text += digits[static_cast<unsigned char>(byte) >> 4];
        text += digits[byte & 15];
    }
    return text;
}
