#include "Accounts.h"

#include <algorithm>
#include <fstream>
#include <vector>

namespace {

std::vector<std::string> splitAtTabs(const std::string& line) {
    std::vector<std::string> fields;
    std::size_t from = 0;
    for (std::size_t tab; (tab = line.find('\t', from)) != std::string::npos; from = tab + 1) {
        fields.push_back(line.substr(from, tab - from));
    }
    fields.push_back(line.substr(from));
    return fields;
}

} // namespace

std::optional<Accounts> Accounts::read(const std::filesystem::path& file, std::string& problem) {
    std::ifstream input(file);
    Accounts result;
    std::string line;
    int number = 0;
    while (std::getline(input, line)) {
        ++number;
        if (line.ends_with('\r')) {
            line.pop_back();
        }
        if (line.empty() || line.front() == '#') {
            continue;
        }
        const std::string place = file.string() + ", line " + std::to_string(number) + ": ";
        std::vector<std::string> fields = splitAtTabs(line);
        const bool hasEmptyField = std::ranges::any_of(fields, &std::string::empty);
        if (fields.size() < 2 || fields.size() > 3 || hasEmptyField) {
            problem =
                place + "expected a user id, a TAB, a password and perhaps a TAB and a reason";
            return std::nullopt;
        }
        fields.resize(3);
        if (!result.accounts.try_emplace(fields[0], Account{fields[1], fields[2]}).second) {
            problem = place + "this user id has a line already";
            return std::nullopt;
        }
    }
    // A directory opens like a file and fails at the first read.
    if (!input.is_open() || input.bad()) {
        problem = "cannot read the accounts file " + file.string();
        return std::nullopt;
    }
    return result;
}

std::optional<std::string> Accounts::refusal(const std::string& user,
                                             const std::string& password) const {
    const auto account = accounts.find(user);
    if (account == accounts.end() || account->second.password != password) {
        return "The user id or the password is wrong.";
    }
    if (!account->second.blockedBecause.empty()) {
        return account->second.blockedBecause;
    }
    return std::nullopt;
}
