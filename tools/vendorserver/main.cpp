#include "Accounts.h"
#include "VendorServer.h"

#include <getopt.h>
#include <sys/prctl.h>
#include <unistd.h>

#include <charconv>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <iostream>
#include <optional>
#include <string>
#include <system_error>
#include <utility>

namespace fs = std::filesystem;

namespace {

constexpr int usageError = 2;

const char* const helpText =
    R"(Usage: zelvendor --accounts FILE --manifest FILE --packages DIR [OPTION]...
The vendor's server on this machine: it signs accounts in, hands out the
manifest and serves the packages.

  --accounts FILE    accounts that may sign in: user id TAB password, and TAB
                     reason for one that is refused; '#' begins a comment line
  --manifest FILE    manifest, read at each request; @SERVER@ in it stands for
                     this server's address
  --packages DIR     directory that is served as /packages/
  --host HOST        address to listen on (127.0.0.1)
  --port PORT        port to listen on (0: any free one)
  --cert FILE        certificate in PEM; together with --key: serve HTTPS
  --key FILE         private key of the certificate in PEM
  --weather FILE     misbehave as that scenario file says
  --die-with-parent  end when the process that started this one ends
  --help             print this text

When it is ready it prints "listening on ADDRESS" on standard output; each
request is a line on standard error: method, path, status, bytes of the body.
)";

struct Options {
    VendorServer::Settings server;
    fs::path accounts;
    fs::path weather;
    bool dieWithParent = false;
};

[[noreturn]] void fail(const std::string& reason, int status = EXIT_FAILURE) {
    std::cerr << "zelvendor: " + reason + '\n';
    std::exit(status);
}

int parsePort(const std::string& text) {
    int port = -1;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    if (error != std::errc() || stop != end || port < 0 || port > 65535) {
        fail("--port takes a number from 0 to 65535, not \"" + text + '"', usageError);
    }
    return port;
}

Options parseOptions(int argc, char** argv) {
    enum Choice {
        Accounts = 1,
        Manifest,
        Packages,
        Host,
        Port,
        Cert,
        Key,
        Weather,
        DieWithParent,
        Help
    };
    const option known[] = {
        {"accounts", required_argument, nullptr, Accounts},
        {"manifest", required_argument, nullptr, Manifest},
        {"packages", required_argument, nullptr, Packages},
        {"host", required_argument, nullptr, Host},
        {"port", required_argument, nullptr, Port},
        {"cert", required_argument, nullptr, Cert},
        {"key", required_argument, nullptr, Key},
        {"weather", required_argument, nullptr, Weather},
        {"die-with-parent", no_argument, nullptr, DieWithParent},
        {"help", no_argument, nullptr, Help},
        {},
    };
    Options options;
    VendorServer::Settings& server = options.server;
    for (int choice; (choice = getopt_long(argc, argv, "", known, nullptr)) != -1;) {
        switch (choice) {
        case Accounts:
            options.accounts = optarg;
            break;
        case Manifest:
            server.manifest = optarg;
            break;
        case Packages:
            server.packages = optarg;
            break;
        case Host:
            server.host = optarg;
            break;
        case Port:
            server.port = parsePort(optarg);
            break;
        case Cert:
            server.certificate = optarg;
            break;
        case Key:
            server.key = optarg;
            break;
        case Weather:
            options.weather = optarg;
            break;
        case DieWithParent:
            options.dieWithParent = true;
            break;
        case Help:
            std::cout << helpText;
            std::exit(EXIT_SUCCESS);
        default: // getopt_long has said what is wrong
            std::exit(usageError);
        }
    }
    if (optind < argc) {
        fail("unexpected argument \"" + std::string(argv[optind]) + '"', usageError);
    }
    if (options.accounts.empty() || server.manifest.empty() || server.packages.empty()) {
        fail("--accounts, --manifest and --packages are needed; see --help", usageError);
    }
    if (server.certificate.empty() != server.key.empty()) {
        fail("--cert and --key go together", usageError);
    }
    return options;
}

void requireInputs(const VendorServer::Settings& server) {
    std::error_code ignored; // what cannot be looked at is not readable either
    if (!fs::is_regular_file(server.manifest, ignored) ||
        access(server.manifest.c_str(), R_OK) != 0) {
        fail("cannot read the manifest " + server.manifest.string());
    }
    if (!fs::is_directory(server.packages, ignored) ||
        access(server.packages.c_str(), R_OK | X_OK) != 0) {
        fail("cannot read the packages directory " + server.packages.string());
    }
}

// Requests share nothing that would have to be finished or put away, so the process may end at
// once; a regular stop would wait seconds for clients that keep idle connections open.
void endNow(int) {
    _exit(EXIT_SUCCESS);
}

void endWithParent(pid_t parent) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) { // it ended before the request above
        _exit(EXIT_SUCCESS);
    }
}

} // namespace

int main(int argc, char** argv) {
    const pid_t parent = getppid();
    std::signal(SIGTERM, endNow);
    std::signal(SIGINT, endNow);

    const Options options = parseOptions(argc, argv);
    if (options.dieWithParent) {
        endWithParent(parent);
    }
    requireInputs(options.server);
    std::string problem;
    std::optional<Accounts> accounts = Accounts::read(options.accounts, problem);
    if (!accounts) {
        fail(problem);
    }
    std::unique_ptr<Weather> weather;
    if (!options.weather.empty()) {
        weather = Weather::read(options.weather, problem);
        if (!weather) {
            fail(problem);
        }
    }

    VendorServer server(options.server, std::move(*accounts), std::move(weather));
    if (const std::string reason = server.bind(); !reason.empty()) {
        fail(reason);
    }
    std::cout << "listening on " + server.address() << std::endl;
    server.serve();
    fail("stopped listening on " + server.address());
}
