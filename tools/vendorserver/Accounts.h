#pragma once

#include <filesystem>
#include <map>
#include <optional>
#include <string>

/// The forum accounts that the server knows, read from a text file in UTF-8.
///
/// One account a line: the user id, a TAB, the password and, when the account may not sign in,
/// another TAB and the reason. Everything between the TABs counts as it stands, blanks and
/// punctuation included. Empty lines and lines that begin with '#' are skipped.
class Accounts {
public:
    /// Reads `file`. Nothing when it cannot be used; `problem` then says why in one line, without
    /// quoting the file's content.
    static std::optional<Accounts> read(const std::filesystem::path& file, std::string& problem);

    /// Nothing when the account may sign in, else the reason in words for the user. An unknown user
    /// and a wrong password give the same reason, so that nobody learns which user ids exist.
    std::optional<std::string> refusal(const std::string& user, const std::string& password) const;

private:
    struct Account {
        std::string password;
        std::string blockedBecause; // empty: the account may sign in
    };

    std::map<std::string, Account> accounts;
};
