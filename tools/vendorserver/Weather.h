#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace httplib {
struct Request;
struct Response;
} // namespace httplib

/// One way to misbehave for some paths. tools/weather/README.md says what each field does and what
/// an unset one means.
struct WeatherRule {
    /// A text that is sent so many times over; bodies of any size are made of these.
    struct Piece {
        std::string text;
        std::uint64_t times = 1;
    };
    enum class Framing { Length, Chunked, UntilClose };

    std::string path;
    bool isPrefix = false; // `path` is the beginning of the paths that are meant
    std::optional<std::uint64_t> first;
    std::chrono::milliseconds delay{0};
    bool hangsUp = false;
    std::optional<int> status;
    std::optional<std::string> redirect;
    std::map<std::string, std::string> headers;
    std::vector<std::string> without;
    std::optional<std::vector<Piece>> body;
    Framing framing = Framing::Length;
    std::int64_t lengthOffBy = 0;
    std::optional<std::uint64_t> cutAt;
    std::optional<std::uint64_t> stallAt;
    std::optional<std::uint64_t> bytesPerSecond;

    std::map<std::string, std::uint64_t> requests; // so far, by path; kept where `first` counts

    /// Whether the answer's body has to be sent in a way of this rule's.
    bool shapesBody() const;
};

/// How the server misbehaves: the rules of one scenario file.
class Weather {
public:
    /// Reads `file`. Null when it cannot be used; `problem` then says in one line where and why.
    static std::unique_ptr<Weather> read(const std::filesystem::path& file, std::string& problem);

    /// Whether the scenario makes sense over TLS only.
    bool needsTls() const { return tls; }

    /// Whether connections have to end with their first answer.
    bool endsConnections() const;

    /// Tells the rules the server's address, which their texts may name.
    void setServer(const std::string& address);

    /// The rule for a request of this path, which thereby counts as one; null: answer as usual.
    const WeatherRule* next(const std::string& path);

private:
    std::vector<WeatherRule> rules;
    bool tls = false;
    std::mutex counting;
};

/// Turns the usual answer into what `rule` makes of it. `rule` has to outlive the response. The
/// body bytes that go out are counted in `bytesSent`, which has to live as long as the thread.
void applyWeather(const WeatherRule& rule, const httplib::Request& request,
                  httplib::Response& response, std::uint64_t& bytesSent);
