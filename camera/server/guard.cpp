// Disconnects clients of the web server that hold more than their share: those of an address that has too many
// connections, and those that send a request in pieces without an end. lighttpd limits neither. It looks at the
// server's sockets once a second, and ends with it.
//
// usage: guard PROCESS
#include <arpa/inet.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <linux/tcp.h>
#include <map>
#include <optional>
#include <poll.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace {

constexpr int kMostOfAddress = 128;
// Who has sent something lately, and had no answer for as long, is not about to send the rest.
constexpr uint32_t kLately = 10000, kLongestRequest = 20000; // milliseconds

struct connection {
    std::string address;
    bool is_trickling;
};

// Empty for what is no connection of a client.
std::optional<connection> examine(int socket) {
    sockaddr_storage name = {};
    socklen_t size = sizeof name;
    tcp_info info = {};
    socklen_t info_size = sizeof info;
    if (getpeername(socket, reinterpret_cast<sockaddr *>(&name), &size) != 0 || name.ss_family == AF_UNIX ||
        getsockopt(socket, IPPROTO_TCP, TCP_INFO, &info, &info_size) != 0)
        return std::nullopt;
    const bool is_six = name.ss_family == AF_INET6;
    const void *const host = is_six ? static_cast<void *>(&reinterpret_cast<sockaddr_in6 *>(&name)->sin6_addr)
                                    : static_cast<void *>(&reinterpret_cast<sockaddr_in *>(&name)->sin_addr);
    return connection{std::string(static_cast<const char *>(host), is_six ? 16 : 4),
                      info.tcpi_last_data_recv < kLately && info.tcpi_last_data_sent > kLongestRequest};
}

// false when the server's sockets cannot be had.
bool inspect(int server, const std::filesystem::path &descriptors) {
    std::map<std::string, int> count;
    std::error_code error;
    for (const auto &each : std::filesystem::directory_iterator(descriptors, error)) {
        const auto target = std::filesystem::read_symlink(each.path(), error).string();
        if (!target.starts_with("socket:"))
            continue;
        const auto socket =
            static_cast<int>(syscall(SYS_pidfd_getfd, server, std::atoi(each.path().filename().c_str()), 0));
        if (socket < 0 && (errno == EPERM || errno == ENOSYS))
            return false;
        const auto found = examine(socket);
        if (found && (++count[found->address] > kMostOfAddress || found->is_trickling))
            shutdown(socket, SHUT_RDWR);
        close(socket);
    }
    return true;
}

} // namespace

int main(int argc, char **argv) {
    const int server = argc == 2 ? static_cast<int>(syscall(SYS_pidfd_open, std::atoi(argv[1]), 0)) : -1;
    if (server < 0) {
        std::fputs("usage: guard PROCESS\n", stderr);
        return EXIT_FAILURE;
    }
    constexpr int kPeriod = 1000;
    for (pollfd ended = {server, POLLIN, 0}; poll(&ended, 1, kPeriod) == 0;)
        if (!inspect(server, std::string("/proc/") + argv[1] + "/fd")) {
            std::fputs("camera: warning: this system does not let connections be limited\n", stderr);
            return EXIT_FAILURE;
        }
    return EXIT_SUCCESS;
}
