#pragma once

// The request protocol between the program and its privileged helper, used by
// both sides. The helper's standard input and output are one end of a local
// stream socket.
//
//   helper -> program  at once: u32 ReadyMagic, i32 effective user id
//   program -> helper  then StartLine (anything before it is skipped: a
//                      password line that an escalation tool left unread),
//                      then requests: u32 id, u32 count, count times
//                      (u32 length, bytes) -- an argument vector whose first
//                      element is the tool's absolute path
//   helper -> program  per request, in order: u32 id, i32 status
//                      (0 success, an errno value otherwise)
//
// The helper speaks first so that a program which handed an escalation tool
// a password can tell acceptance (the helper runs) from a tool that waits
// for another try.
// Numbers are in the machine's own byte order: both ends run on one machine.
// The helper ends at end of input.

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include <sys/socket.h>
#include <unistd.h>

namespace VTHelperProtocol {

inline constexpr char StartLine[] = "TESSARY-HELPER-START 1\n";
inline constexpr std::uint32_t ReadyMagic = 0x52485456u;
inline constexpr std::uint32_t MaxArguments = 256;
inline constexpr std::uint32_t MaxArgumentBytes = 8192;

inline bool readExact(int fd, void *data, std::size_t size)
{
    auto *bytes = static_cast<char *>(data);
    while (size > 0) {
        const ssize_t n = ::read(fd, bytes, size);
        if (n == 0)
            return false;
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        bytes += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

// send() with MSG_NOSIGNAL, so that a helper that is gone cannot kill the
// program; write() where the descriptor is not a socket (an escalation tool
// may hand the helper pipes of its own).
inline bool writeExact(int fd, const void *data, std::size_t size)
{
    const auto *bytes = static_cast<const char *>(data);
    bool socket = true;
    while (size > 0) {
        ssize_t n = socket ? ::send(fd, bytes, size, MSG_NOSIGNAL) : ::write(fd, bytes, size);
        if (n < 0 && socket && errno == ENOTSOCK) {
            socket = false;
            continue;
        }
        if (n < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        bytes += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

inline void appendU32(std::string &out, std::uint32_t value)
{
    out.append(reinterpret_cast<const char *>(&value), sizeof value);
}

inline std::string encodeRequest(std::uint32_t id, const std::vector<std::string> &arguments)
{
    std::string out;
    appendU32(out, id);
    appendU32(out, static_cast<std::uint32_t>(arguments.size()));
    for (const std::string &argument : arguments) {
        appendU32(out, static_cast<std::uint32_t>(argument.size()));
        out += argument;
    }
    return out;
}

// False at end of input or on a request outside the limits.
inline bool readRequest(int fd, std::uint32_t &id, std::vector<std::string> &arguments)
{
    std::uint32_t count = 0;
    if (!readExact(fd, &id, sizeof id) || !readExact(fd, &count, sizeof count) || count > MaxArguments)
        return false;
    arguments.clear();
    for (std::uint32_t i = 0; i < count; ++i) {
        std::uint32_t length = 0;
        if (!readExact(fd, &length, sizeof length) || length > MaxArgumentBytes)
            return false;
        std::string argument(length, '\0');
        if (length > 0 && !readExact(fd, argument.data(), length))
            return false;
        arguments.push_back(std::move(argument));
    }
    return true;
}

struct Reply {
    std::uint32_t id = 0;
    std::int32_t status = 0;
};

inline bool writeReply(int fd, const Reply &reply)
{
    char buffer[8];
    std::memcpy(buffer, &reply.id, 4);
    std::memcpy(buffer + 4, &reply.status, 4);
    return writeExact(fd, buffer, sizeof buffer);
}

inline bool readReply(int fd, Reply &reply)
{
    char buffer[8];
    if (!readExact(fd, buffer, sizeof buffer))
        return false;
    std::memcpy(&reply.id, buffer, 4);
    std::memcpy(&reply.status, buffer + 4, 4);
    return true;
}

} // namespace VTHelperProtocol
