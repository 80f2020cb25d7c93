// sharedlib/platform/posix/displays.cpp: the desktop's monitors, asked of the X server.
#include "sharedlib/platform/displays.h"
#include <algorithm>
#include <array>
#include <bit>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <optional>
#include <poll.h>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

// The few requests are written and read here, because the X client libraries end the process when the connection breaks
// and wait without limit for a server that has stopped.

namespace platform {

namespace {

using Deadline = std::chrono::steady_clock::time_point;

constexpr std::chrono::seconds kPatience{2};
constexpr std::size_t kReplySize = 32;
constexpr std::size_t kMaxReplyBytes = std::size_t{1} << 20;
constexpr std::string_view kCookieName = "MIT-MAGIC-COOKIE-1";

// A local display server's number and the screen on it, as the variable DISPLAY names them: ":NUMBER.SCREEN".
struct DisplayName {
    std::string number;
    std::size_t screen = 0;
};

struct Monitor {
    std::int64_t left = 0;
    std::int64_t top = 0;
    std::int64_t width = 0;
    std::int64_t height = 0;
};

// The part of the server's greeting that matters here.
struct Screen {
    std::uint32_t root = 0;
    Monitor area;
};

// Bytes of a message, in the byte order of this machine, which the server takes over.
class Message {
public:
    explicit Message(std::vector<std::uint8_t> bytes = {}) : m_bytes(std::move(bytes)) {}

    template <typename Integer>
    Message& add(Integer value) {
        auto const* const bytes = reinterpret_cast<std::uint8_t const*>(&value);
        m_bytes.insert(m_bytes.end(), bytes, bytes + sizeof value);
        return *this;
    }
    Message& addPadded(std::string_view text) {
        m_bytes.insert(m_bytes.end(), text.begin(), text.end());
        m_bytes.resize((m_bytes.size() + 3) / 4 * 4);
        return *this;
    }
    // The integer at `offset`; 0 where the message has ended.
    template <typename Integer>
    Integer at(std::size_t offset) const {
        Integer value = 0;
        if (offset <= m_bytes.size() && sizeof value <= m_bytes.size() - offset) {
            std::memcpy(&value, m_bytes.data() + offset, sizeof value);
        }
        return value;
    }
    std::vector<std::uint8_t> const& bytes() const { return m_bytes; }

private:
    std::vector<std::uint8_t> m_bytes;
};

std::optional<DisplayName> displayName() {
    char const* const variable = std::getenv("DISPLAY");
    std::string_view text = variable != nullptr ? variable : "";
    if (text.starts_with("unix:")) {
        text.remove_prefix(4);
    }
    // A name with a host in front is a desktop of another machine.
    if (!text.starts_with(':')) {
        return std::nullopt;
    }
    text.remove_prefix(1);
    std::size_t const point = std::min(text.find('.'), text.size());
    DisplayName name{std::string(text.substr(0, point)), 0};
    if (name.number.empty() || name.number.find_first_not_of("0123456789") != std::string::npos) {
        return std::nullopt;
    }
    if (point < text.size()) {
        name.screen = std::strtoul(std::string(text.substr(point + 1)).c_str(), nullptr, 10);
    }
    return name;
}

// A connection to the display server, on which nothing waits beyond the deadline.
class Server {
public:
    explicit Server(std::string const& number) : m_deadline(std::chrono::steady_clock::now() + kPatience) {
        std::string const path = "/tmp/.X11-unix/X" + number;
        // The name without a file also works where the folder is not visible.
        if (!connectTo(std::string(1, '\0') + path)) {
            connectTo(path);
        }
    }
    ~Server() { disconnect(); }
    Server(Server const&) = delete;
    Server& operator=(Server const&) = delete;

    // The server's greeting after its first 8 bytes; nothing when it refuses or does not answer.
    std::optional<Message> greet(std::string_view cookie) {
        std::string_view const method = cookie.empty() ? std::string_view() : kCookieName;
        Message request;
        request.add<char>(std::endian::native == std::endian::little ? 'l' : 'B').add<std::uint8_t>(0);
        request.add<std::uint16_t>(11).add<std::uint16_t>(0);
        request.add(static_cast<std::uint16_t>(method.size())).add(static_cast<std::uint16_t>(cookie.size()));
        request.add<std::uint16_t>(0).addPadded(method).addPadded(cookie);
        constexpr std::size_t kHeaderSize = 8;
        constexpr std::uint8_t kAccepted = 1;
        std::optional<Message> const header = send(request) ? receive(kHeaderSize) : std::nullopt;
        if (!header || header->at<std::uint8_t>(0) != kAccepted) {
            return std::nullopt;
        }
        return receive(std::size_t{4} * header->at<std::uint16_t>(6));
    }

    // The reply to `request`; nothing when the server reports an error or does not answer.
    std::optional<Message> ask(Message const& request) {
        constexpr std::uint8_t kError = 0;
        constexpr std::uint8_t kReply = 1;
        if (!send(request)) {
            return std::nullopt;
        }
        // Events come in between without being asked for.
        std::optional<Message> head = receive(kReplySize);
        while (head && head->at<std::uint8_t>(0) > kReply) {
            head = receive(kReplySize);
        }
        if (!head || head->at<std::uint8_t>(0) == kError) {
            return std::nullopt;
        }
        std::optional<Message> const rest = receive(std::size_t{4} * head->at<std::uint32_t>(4));
        if (!rest) {
            return std::nullopt;
        }
        std::vector<std::uint8_t> all = head->bytes();
        all.insert(all.end(), rest->bytes().begin(), rest->bytes().end());
        return Message(std::move(all));
    }

private:
    bool connectTo(std::string const& name) {
        sockaddr_un address{};
        address.sun_family = AF_UNIX;
        if (name.size() >= sizeof address.sun_path) {
            return false;
        }
        std::memcpy(address.sun_path, name.data(), name.size());
        auto const length = static_cast<socklen_t>(offsetof(sockaddr_un, sun_path) + name.size());
        m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
        if (m_socket >= 0 && connect(m_socket, reinterpret_cast<sockaddr const*>(&address), length) != 0) {
            disconnect();
        }
        return m_socket >= 0;
    }

    void disconnect() {
        if (m_socket >= 0) {
            close(m_socket);
        }
        m_socket = -1;
    }

    bool waitFor(short events) const {
        using namespace std::chrono;
        auto const left = ceil<milliseconds>(m_deadline - steady_clock::now()).count();
        pollfd entry{m_socket, events, 0};
        // An interrupted wait counts as ready: the call that follows finds out, and the deadline still holds.
        return left > 0 && poll(&entry, 1, static_cast<int>(left)) != 0;
    }

    bool send(Message const& message) const {
        std::size_t done = 0;
        while (done < message.bytes().size()) {
            if (m_socket < 0 || !waitFor(POLLOUT)) {
                return false;
            }
            ssize_t const count =
                ::send(m_socket, message.bytes().data() + done, message.bytes().size() - done, MSG_NOSIGNAL);
            if (count < 0 && errno != EAGAIN && errno != EINTR) {
                return false;
            }
            done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        return true;
    }

    std::optional<Message> receive(std::size_t size) const {
        if (size > kMaxReplyBytes) {
            return std::nullopt;
        }
        std::vector<std::uint8_t> bytes(size);
        std::size_t done = 0;
        while (done < size) {
            if (m_socket < 0 || !waitFor(POLLIN)) {
                return std::nullopt;
            }
            ssize_t const count = recv(m_socket, bytes.data() + done, size - done, 0);
            if (count == 0 || (count < 0 && errno != EAGAIN && errno != EINTR)) {
                return std::nullopt;
            }
            done += static_cast<std::size_t>(std::max<ssize_t>(count, 0));
        }
        return Message(std::move(bytes));
    }

    Deadline m_deadline;
    int m_socket = -1;
};

std::string authorityFile() {
    if (char const* const file = std::getenv("XAUTHORITY"); file != nullptr) {
        return file;
    }
    char const* const home = std::getenv("HOME");
    return home != nullptr ? std::string(home) + "/.Xauthority" : std::string();
}

// Takes a string with its length in two bytes, the higher first, off the front of `text`; empty at the end.
std::string_view takeCounted(std::string_view& text) {
    if (text.size() < 2) {
        text = {};
        return {};
    }
    std::size_t const length =
        std::size_t{static_cast<std::uint8_t>(text[0])} << 8 | static_cast<std::uint8_t>(text[1]);
    std::string_view const result = text.substr(2, length);
    text.remove_prefix(2 + result.size());
    return result;
}

// The secret that the local display `number` asks its clients for; empty when the user has none.
std::string findCookie(std::string const& number) {
    std::ifstream file(authorityFile(), std::ios::binary);
    std::string const content{std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    std::array<char, 256> hostName{};
    gethostname(hostName.data(), hostName.size() - 1);
    std::string_view rest = content;
    while (rest.size() >= 2) {
        bool const isLocal = rest.starts_with(std::string_view("\x01\x00", 2));
        bool const isAny = rest.starts_with("\xff\xff");
        rest.remove_prefix(2);
        std::string_view const host = takeCounted(rest);
        std::string_view const display = takeCounted(rest);
        std::string_view const method = takeCounted(rest);
        std::string_view const cookie = takeCounted(rest);
        bool const fits = (isAny || (isLocal && host == hostName.data())) && (display.empty() || display == number);
        if (fits && method == kCookieName) {
            return std::string(cookie);
        }
    }
    return {};
}

// The screen called `index` of the server's greeting.
std::optional<Screen> findScreen(Message const& greeting, std::size_t index) {
    if (index >= greeting.at<std::uint8_t>(20)) {
        return std::nullopt;
    }
    std::size_t const vendorSize = (std::size_t{greeting.at<std::uint16_t>(16)} + 3) / 4 * 4;
    std::size_t offset = 32 + vendorSize + std::size_t{8} * greeting.at<std::uint8_t>(21);
    for (; index > 0; --index) {
        std::size_t depths = greeting.at<std::uint8_t>(offset + 39);
        for (offset += 40; depths > 0; --depths) {
            offset += 8 + std::size_t{24} * greeting.at<std::uint16_t>(offset + 2);
        }
    }
    Screen screen;
    screen.root = greeting.at<std::uint32_t>(offset);
    screen.area.width = greeting.at<std::uint16_t>(offset + 20);
    screen.area.height = greeting.at<std::uint16_t>(offset + 22);
    return screen;
}

// The number by which the server knows the RANDR extension, if it has the version with monitors.
std::optional<std::uint8_t> findMonitorExtension(Server& server) {
    constexpr std::string_view kName = "RANDR";
    Message query;
    query.add<std::uint8_t>(98).add<std::uint8_t>(0).add<std::uint16_t>(4);
    query.add(static_cast<std::uint16_t>(kName.size())).add<std::uint16_t>(0).addPadded(kName);
    std::optional<Message> const extension = server.ask(query);
    if (!extension || extension->at<std::uint8_t>(8) == 0) {
        return std::nullopt;
    }
    auto const opcode = extension->at<std::uint8_t>(9);
    Message versionQuery;
    versionQuery.add(opcode).add<std::uint8_t>(0).add<std::uint16_t>(3).add<std::uint32_t>(1).add<std::uint32_t>(5);
    std::optional<Message> const version = server.ask(versionQuery);
    std::uint32_t const major = version ? version->at<std::uint32_t>(8) : 0;
    bool const hasMonitors = major > 1 || (major == 1 && version->at<std::uint32_t>(12) >= 5);
    return hasMonitors ? std::optional(opcode) : std::nullopt;
}

// The monitors on `screen`; the screen itself where the server does not tell them apart.
std::vector<Monitor> findMonitors(Server& server, Screen const& screen) {
    std::optional<std::uint8_t> const extension = findMonitorExtension(server);
    if (!extension) {
        return {screen.area};
    }
    Message request;
    request.add(*extension).add<std::uint8_t>(42).add<std::uint16_t>(3).add(screen.root);
    request.add<std::uint8_t>(1).add<std::uint8_t>(0).add<std::uint16_t>(0);
    std::optional<Message> const reply = server.ask(request);
    std::vector<Monitor> monitors;
    std::size_t offset = kReplySize;
    for (std::uint32_t left = reply ? reply->at<std::uint32_t>(12) : 0; left > 0 && offset < reply->bytes().size();
         --left) {
        monitors.push_back({reply->at<std::int16_t>(offset + 8), reply->at<std::int16_t>(offset + 10),
                            reply->at<std::uint16_t>(offset + 12), reply->at<std::uint16_t>(offset + 14)});
        offset += 24 + std::size_t{4} * reply->at<std::uint16_t>(offset + 6);
    }
    return monitors;
}

bool overlaps(RECT const& rectangle, Monitor const& monitor) {
    bool const hasArea = rectangle.right > rectangle.left && rectangle.bottom > rectangle.top;
    long const lastX = hasArea ? rectangle.right - 1 : rectangle.left;
    long const lastY = hasArea ? rectangle.bottom - 1 : rectangle.top;
    return lastX >= monitor.left && rectangle.left < monitor.left + monitor.width && lastY >= monitor.top &&
           rectangle.top < monitor.top + monitor.height;
}

} // namespace

bool rectangleOverlapsMonitor(RECT const& rectangle) {
    std::optional<DisplayName> const name = displayName();
    if (!name) {
        return false;
    }
    Server server(name->number);
    std::optional<Message> const greeting = server.greet(findCookie(name->number));
    std::optional<Screen> const screen = greeting ? findScreen(*greeting, name->screen) : std::nullopt;
    if (!screen) {
        return false;
    }
    std::vector<Monitor> const monitors = findMonitors(server, *screen);
    return std::any_of(monitors.begin(), monitors.end(),
                       [&](Monitor const& monitor) { return overlaps(rectangle, monitor); });
}

} // namespace platform
