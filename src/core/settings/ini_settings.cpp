// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "core/settings/ini_settings.h"

#include "core/notes/file_io.h"
#include "core/text/unicode.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>
#include <utility>

namespace zemvar::core {

namespace {

// Larger settings files are read this far: ours hold a few hundred bytes.
constexpr std::size_t readLimit = std::size_t{16} << 20;

std::string environment(const char* name) {
    const char* value = std::getenv(name);
    return value == nullptr ? std::string() : std::string(value);
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\r';
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') {
        return c - '0';
    }
    if (c >= 'a' && c <= 'f') {
        return c - 'a' + 10;
    }
    if (c >= 'A' && c <= 'F') {
        return c - 'A' + 10;
    }
    return -1;
}

std::string_view trimmed(std::string_view text) {
    while (!text.empty() && isSpace(text.front())) {
        text.remove_prefix(1);
    }
    while (!text.empty() && isSpace(text.back())) {
        text.remove_suffix(1);
    }
    return text;
}

// QSettings keeps UTF-16 code units in its escapes; a lone surrogate cannot be UTF-8.
void appendCodeUnit(std::string& out, std::uint32_t unit) {
    unit &= 0xFFFF;
    text::appendUtf8(out, unit >= 0xD800 && unit <= 0xDFFF ? text::replacementCharacter
                                                           : static_cast<char32_t>(unit));
}

// One logical line of the file: a section header, "key=value" or something to skip. A line
// ends at a line break outside double quotes, or at a ";" outside quotes, where a comment
// begins; a backslash keeps the next character (a line break too) in the line. `equals` is the
// position of the first "=" outside quotes in the line, npos when there is none.
bool readLine(std::string_view data, std::size_t& position, std::string_view& line,
              std::size_t& equals) {
    std::size_t start = position;
    while (start < data.size() && isSpace(data[start])) {
        ++start;
    }
    equals = std::string_view::npos;
    bool inQuotes = false;
    std::size_t i = start;
    while (i < data.size()) {
        const char c = data[i++];
        if (c == '=') {
            if (!inQuotes && equals == std::string_view::npos) {
                equals = i - 1 - start;
            }
        } else if (c == '\n' || c == '\r') {
            if (!inQuotes) {
                --i;
                break;
            }
        } else if (c == '\\') {
            if (i < data.size()) {
                const char escaped = data[i++];
                if (i < data.size() && ((escaped == '\n' && data[i] == '\r') ||
                                        (escaped == '\r' && data[i] == '\n'))) {
                    ++i;
                }
            }
        } else if (c == '"') {
            inQuotes = !inQuotes;
        } else if (c == ';') {
            if (i == start + 1) {
                // A comment: skipped up to the next line, which continues this one.
                while (i < data.size() && data[i] != '\n' && data[i] != '\r') {
                    ++i;
                }
                while (i < data.size() && isSpace(data[i])) {
                    ++i;
                }
                start = i;
            } else if (!inQuotes) {
                --i;
                break;
            }
        }
    }
    position = i;
    line = data.substr(start, i - start);
    return !line.empty();
}

// A key or section name: "\" stands for "/", "%XX" and "%UXXXX" for characters.
std::string unescapedKey(std::string_view key) {
    std::string result;
    for (std::size_t i = 0; i < key.size();) {
        const char c = key[i];
        if (c == '\\') {
            result += '/';
            ++i;
            continue;
        }
        const std::size_t digitsAt = i + 1 + (i + 1 < key.size() && key[i + 1] == 'U' ? 1 : 0);
        const std::size_t digits = digitsAt == i + 2 ? 4 : 2;
        std::uint32_t unit = 0;
        bool escape = c == '%' && i + 1 < key.size() && digitsAt + digits <= key.size();
        for (std::size_t d = 0; escape && d < digits; ++d) {
            const int value = hexValue(key[digitsAt + d]);
            escape = value >= 0;
            unit = unit * 16 + static_cast<std::uint32_t>(value);
        }
        if (escape) {
            appendCodeUnit(result, unit);
            i = digitsAt + digits;
        } else {
            result += c;
            ++i;
        }
    }
    return result;
}

// A value as QSettings reads it: quotes and escapes resolved, surrounding blanks dropped; an
// unquoted "," makes it a list.
struct Value {
    std::string text;
    bool isList = false;
};

Value unescapedValue(std::string_view value) {
    Value result;
    std::string& text = result.text;
    bool inQuotes = false;
    bool quoted = false;
    std::size_t chopLimit = 0;
    std::size_t i = 0;
    const auto skipBlanks = [&] {
        while (i < value.size() && (value[i] == ' ' || value[i] == '\t')) {
            ++i;
        }
        chopLimit = text.size();
    };
    const auto chopTrailingBlanks = [&] {
        while (text.size() > chopLimit && (text.back() == ' ' || text.back() == '\t')) {
            text.pop_back();
        }
    };
    skipBlanks();
    while (i < value.size()) {
        const char c = value[i];
        if (c == '\\') {
            if (++i >= value.size()) {
                return result;
            }
            const char escaped = value[i++];
            static constexpr std::pair<char, char> simple[] = {
                {'a', '\a'}, {'b', '\b'}, {'f', '\f'}, {'n', '\n'},  {'r', '\r'},  {'t', '\t'},
                {'v', '\v'}, {'"', '"'},  {'?', '?'},  {'\'', '\''}, {'\\', '\\'},
            };
            bool done = false;
            for (const auto& [code, character] : simple) {
                if (escaped == code) {
                    text += character;
                    done = true;
                    break;
                }
            }
            if (!done && escaped == 'x' && i < value.size() && hexValue(value[i]) >= 0) {
                std::uint32_t unit = 0;
                for (; i < value.size() && hexValue(value[i]) >= 0; ++i) {
                    unit = (unit << 4) + static_cast<std::uint32_t>(hexValue(value[i]));
                }
                appendCodeUnit(text, unit);
            } else if (!done && escaped >= '0' && escaped <= '7') {
                std::uint32_t unit = static_cast<std::uint32_t>(escaped - '0');
                for (; i < value.size() && value[i] >= '0' && value[i] <= '7'; ++i) {
                    unit = (unit << 3) + static_cast<std::uint32_t>(value[i] - '0');
                }
                appendCodeUnit(text, unit);
            } else if (!done && (escaped == '\n' || escaped == '\r') && i < value.size() &&
                       (value[i] == '\n' || value[i] == '\r') && value[i] != escaped) {
                ++i; // a continued line: the break is dropped
            }
            chopLimit = text.size();
        } else if (c == '"') {
            ++i;
            quoted = true;
            inQuotes = !inQuotes;
            if (!inQuotes) {
                skipBlanks();
            }
        } else if (c == ',' && !inQuotes) {
            // A list: its items are of no interest here, only that it is one.
            result.isList = true;
            text.clear();
            quoted = false;
            ++i;
            skipBlanks();
        } else {
            const std::size_t end = value.find_first_of("\\\",", i + 1);
            text += value.substr(i, end == std::string_view::npos ? end : end - i);
            i = end == std::string_view::npos ? value.size() : end;
        }
    }
    if (!quoted) {
        chopTrailingBlanks();
    }
    return result;
}

// What QSettings makes of a stored string: "@@..." is a string that began with "@"; the other
// "@Type(...)" forms hold bytes or typed values.
std::optional<std::string> stringOf(Value value) {
    std::string& text = value.text;
    if (value.isList) {
        return std::nullopt;
    }
    if (text.starts_with("@String(") && text.ends_with(')')) {
        return text.substr(8, text.size() - 9);
    }
    if (text.starts_with("@@")) {
        return text.substr(1);
    }
    for (const std::string_view typed :
         {"@ByteArray(", "@Variant(", "@DateTime(", "@Rect(", "@Size(", "@Point(", "@Invalid("}) {
        if (text.starts_with(typed) && text.ends_with(')')) {
            return std::nullopt;
        }
    }
    return std::move(text);
}

} // namespace

std::filesystem::path appSettingsPath() {
    std::filesystem::path base = environment("XDG_CONFIG_HOME");
    if (!base.is_absolute()) {
        const std::string home = environment("HOME");
        base = std::filesystem::path(home.empty() ? "/" : home) / ".config";
    }
    return base / "Zemvar" / "Zemvar Notes.ini";
}

IniSettings IniSettings::parse(std::string_view text) {
    IniSettings settings;
    if (text.starts_with("\xEF\xBB\xBF")) {
        text.remove_prefix(3);
    }
    std::string section;
    std::size_t position = 0;
    std::string_view line;
    std::size_t equals = 0;
    while (readLine(text, position, line, equals)) {
        if (line.front() == '[') {
            const std::size_t close = line.find(']');
            const std::string_view name =
                trimmed(line.substr(1, close == std::string_view::npos ? close : close - 1));
            const auto lower = text::lowercase(name);
            if (lower == "general") {
                section.clear();
            } else {
                section = (lower == "%general" ? std::string(name.substr(1)) : unescapedKey(name));
                section += '/';
            }
            continue;
        }
        if (equals == std::string_view::npos) {
            continue;
        }
        settings.m_values.insert_or_assign(section + unescapedKey(trimmed(line.substr(0, equals))),
                                           stringOf(unescapedValue(line.substr(equals + 1))));
    }
    return settings;
}

IniSettings IniSettings::load(const std::filesystem::path& path) {
    std::error_code error;
    if (!std::filesystem::exists(path, error)) {
        if (error && error != std::errc::no_such_file_or_directory) {
            throwFileError(error.value(), path);
        }
        return {};
    }
    const std::optional<std::string> text = readRegularFile(path, readLimit);
    if (!text) {
        throwFileError(EISDIR, path); // not a regular file: a folder, most likely
    }
    return parse(*text);
}

std::optional<std::string> IniSettings::string(std::string_view key) const {
    const auto found = m_values.find(key);
    return found == m_values.end() ? std::nullopt : found->second;
}

} // namespace zemvar::core
