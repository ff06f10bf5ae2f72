#include "Text.h"
#include "Weather.h"

#include <toml++/toml.h>

#include <algorithm>
#include <stdexcept>
#include <type_traits>

namespace {

// A pebibyte: sums of such sizes still fit.
constexpr std::int64_t largestNumber = std::int64_t{1} << 50;

struct Problem : std::runtime_error {
    using std::runtime_error::runtime_error;
};

[[noreturn]] void reject(const toml::node& at, const std::string& what) {
    throw Problem("line " + std::to_string(at.source().begin.line) + ": " + what);
}

template<typename T> T valueOf(const toml::node& node, const std::string& name) {
    if (std::optional<T> value = node.value_exact<T>()) {
        return *value;
    }
    reject(node, name + " has to be " + (std::is_same_v<T, bool> ? "true or false" : "a text"));
}

// Takes a value out of its table, so that what is left in the end is a word that means nothing.
template<typename T> std::optional<T> take(toml::table& table, const std::string& key) {
    std::optional<T> value;
    if (const toml::node* node = table.get(key)) {
        value = valueOf<T>(*node, key);
        table.erase(key);
    }
    return value;
}

std::optional<std::int64_t> takeNumber(toml::table& table, const std::string& key,
                                       std::int64_t least, std::int64_t most = largestNumber) {
    const toml::node* node = table.get(key);
    const std::optional<std::int64_t> number = node ? node->value_exact<std::int64_t>() : 0;
    if (!number || (node && (*number < least || *number > most))) {
        reject(*node, key + " has to be a whole number from " + std::to_string(least) + " to " +
                          std::to_string(most));
    }
    return take<std::int64_t>(table, key);
}

void rejectLeftOver(const toml::table& table) {
    if (!table.empty()) {
        const auto first = table.begin();
        reject(first->second, '"' + std::string(first->first.str()) + "\" means nothing here");
    }
}

template<typename Container, typename Read>
void takeEach(toml::table& table, const std::string& key, const char* expected, Read read) {
    if (toml::node* node = table.get(key)) {
        auto* container = node->as<Container>();
        if (!container) {
            reject(*node, key + " has to be " + expected);
        }
        for (auto&& element : *container) {
            read(element);
        }
        table.erase(key);
    }
}

WeatherRule::Piece readPiece(toml::node& node) {
    toml::table* table = node.as_table();
    if (!table) {
        return {valueOf<std::string>(node, "a piece without \"times\""), 1};
    }
    const std::string text = take<std::string>(*table, "text").value_or("");
    if (text.empty()) {
        reject(node, "the piece has no text");
    }
    const std::int64_t most = largestNumber / static_cast<std::int64_t>(text.size());
    const std::int64_t times = takeNumber(*table, "times", 1, most).value_or(1);
    rejectLeftOver(*table);
    return {text, static_cast<std::uint64_t>(times)};
}

std::vector<WeatherRule::Piece> readBody(toml::table& table) {
    std::vector<WeatherRule::Piece> pieces;
    if (table.get("body")->is_string()) {
        pieces.push_back({*take<std::string>(table, "body"), 1});
    } else {
        takeEach<toml::array>(table, "body", "a text or a list of pieces",
                              [&](toml::node& node) { pieces.push_back(readPiece(node)); });
    }
    return pieces;
}

WeatherRule::Framing readFraming(toml::table& table) {
    using Framing = WeatherRule::Framing;
    const std::map<std::string, Framing> known = {{"length", Framing::Length},
                                                  {"chunked", Framing::Chunked},
                                                  {"until-close", Framing::UntilClose}};
    const toml::node& node = *table.get("framing");
    const auto framing = known.find(valueOf<std::string>(node, "framing"));
    if (framing == known.end()) {
        reject(node, R"(framing has to be "length", "chunked" or "until-close")");
    }
    table.erase("framing");
    return framing->second;
}

WeatherRule readRule(toml::table& table) {
    WeatherRule rule;
    rule.path = take<std::string>(table, "path").value_or("");
    if (!rule.path.starts_with('/')) {
        reject(table, "the rule has no path that begins with a slash");
    }
    rule.isPrefix = rule.path.ends_with('*');
    if (rule.isPrefix) {
        rule.path.pop_back();
    }
    rule.first = takeNumber(table, "first", 1);
    rule.delay = std::chrono::milliseconds(takeNumber(table, "delay_ms", 0, 3'600'000).value_or(0));
    rule.hangsUp = take<bool>(table, "hang_up").value_or(false);
    rule.status = takeNumber(table, "status", 100, 599);
    rule.redirect = take<std::string>(table, "redirect");
    takeEach<toml::table>(table, "headers", "a table of texts", [&](auto&& header) {
        const std::string name(header.first.str());
        rule.headers[name] = valueOf<std::string>(header.second, name);
    });
    takeEach<toml::array>(table, "without", "a list of header names", [&](toml::node& name) {
        rule.without.push_back(valueOf<std::string>(name, "a header name"));
    });
    if (table.contains("body")) {
        rule.body = readBody(table);
    }
    if (table.contains("framing")) {
        rule.framing = readFraming(table);
    }
    rule.lengthOffBy = takeNumber(table, "length_off_by", -largestNumber).value_or(0);
    rule.cutAt = takeNumber(table, "cut_at", 0);
    rule.stallAt = takeNumber(table, "stall_at", 0);
    rule.bytesPerSecond = takeNumber(table, "bytes_per_second", 1);
    rejectLeftOver(table);
    if (rule.lengthOffBy != 0 && rule.framing != WeatherRule::Framing::Length) {
        reject(table, "length_off_by needs an answer with a length");
    }
    return rule;
}

} // namespace

std::unique_ptr<Weather> Weather::read(const std::filesystem::path& file, std::string& problem) {
    auto weather = std::make_unique<Weather>();
    try {
        toml::table document = toml::parse_file(file.string());
        weather->tls = take<bool>(document, "tls").value_or(false);
        takeEach<toml::array>(document, "rule", "written as [[rule]]", [&](toml::node& node) {
            toml::table* table = node.as_table();
            if (!table) {
                reject(node, "rule has to be written as [[rule]]");
            }
            weather->rules.push_back(readRule(*table));
        });
        rejectLeftOver(document);
        if (weather->rules.empty() && !weather->tls) {
            throw Problem("there is no [[rule]] in it"); // nor in a directory, which reads as empty
        }
        return weather;
    } catch (const toml::parse_error& error) {
        const auto line = error.source().begin.line;
        problem = line > 0 ? "line " + std::to_string(line) + ": " : std::string();
        problem += error.description();
    } catch (const Problem& found) {
        problem = found.what();
    }
    problem = "cannot use the weather " + file.string() + ": " + problem;
    return nullptr;
}

void Weather::setServer(const std::string& address) {
    const std::string host = address.substr(address.find(':'));
    const auto resolve = [&](std::string& text) {
        text = replaceAll(std::move(text), "@SERVER@", address);
        text = replaceAll(std::move(text), "@HTTP@", "http" + host);
    };
    for (WeatherRule& rule : rules) {
        if (rule.redirect) {
            resolve(*rule.redirect);
        }
        if (rule.body) {
            for (WeatherRule::Piece& piece : *rule.body) {
                resolve(piece.text);
            }
        }
    }
}

bool Weather::endsConnections() const {
    return std::ranges::any_of(rules, [](const WeatherRule& rule) {
        return rule.framing == WeatherRule::Framing::UntilClose;
    });
}

const WeatherRule* Weather::next(const std::string& path) {
    const std::lock_guard lock(counting);
    for (WeatherRule& rule : rules) {
        const bool isMeant = rule.isPrefix ? path.starts_with(rule.path) : path == rule.path;
        if (isMeant && (!rule.first || rule.requests[path]++ < *rule.first)) {
            return &rule;
        }
    }
    return nullptr;
}
