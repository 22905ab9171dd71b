// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "support/run_process.h"

#include <cerrno>
#include <csignal>
#include <cstring>
#include <poll.h>
#include <spawn.h>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

extern char** environ;

namespace zemvar::testing {

namespace {

std::vector<std::string> mergedEnvironment(const std::map<std::string, std::string>& changes) {
    std::vector<std::string> result;
    for (char** entry = environ; *entry != nullptr; ++entry) {
        const std::string text = *entry;
        const std::string name = text.substr(0, text.find('='));
        if (changes.find(name) == changes.end()) {
            result.push_back(text);
        }
    }
    for (const auto& [name, value] : changes) {
        if (!value.empty()) {
            result.push_back(name + "=" + value);
        }
    }
    return result;
}

std::vector<char*> pointers(std::vector<std::string>& strings) {
    std::vector<char*> result;
    for (auto& s : strings) {
        result.push_back(s.data());
    }
    result.push_back(nullptr);
    return result;
}

} // namespace

ProcessResult runProcess(const std::string& program, const std::vector<std::string>& arguments,
                         const std::string& input,
                         const std::map<std::string, std::string>& environment) {
    // A child that stops reading its input must not take the test process down with it.
    std::signal(SIGPIPE, SIG_IGN);
    int in[2], out[2], err[2];
    if (::pipe(in) != 0 || ::pipe(out) != 0 || ::pipe(err) != 0) {
        throw std::runtime_error("pipe failed");
    }
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, in[0], 0);
    posix_spawn_file_actions_adddup2(&actions, out[1], 1);
    posix_spawn_file_actions_adddup2(&actions, err[1], 2);
    for (int fd : {in[0], in[1], out[0], out[1], err[0], err[1]}) {
        posix_spawn_file_actions_addclose(&actions, fd);
    }
    std::vector<std::string> argv{program};
    argv.insert(argv.end(), arguments.begin(), arguments.end());
    std::vector<std::string> envp = mergedEnvironment(environment);
    auto argvPointers = pointers(argv);
    auto envPointers = pointers(envp);
    pid_t pid = 0;
    const int spawned = ::posix_spawn(&pid, program.c_str(), &actions, nullptr, argvPointers.data(),
                                      envPointers.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(in[0]);
    ::close(out[1]);
    ::close(err[1]);
    if (spawned != 0) {
        ::close(in[1]);
        ::close(out[0]);
        ::close(err[0]);
        throw std::runtime_error("cannot start " + program + ": " + std::strerror(spawned));
    }

    ProcessResult result;
    std::size_t written = 0;
    int inFd = in[1];
    if (input.empty()) {
        ::close(inFd);
        inFd = -1;
    }
    int outFd = out[0];
    int errFd = err[0];
    while (outFd >= 0 || errFd >= 0 || inFd >= 0) {
        pollfd fds[3] = {{outFd, POLLIN, 0}, {errFd, POLLIN, 0}, {inFd, POLLOUT, 0}};
        if (::poll(fds, 3, -1) < 0) {
            if (errno == EINTR) {
                continue;
            }
            break;
        }
        char buffer[65536];
        for (int i = 0; i < 2; ++i) {
            int& fd = i == 0 ? outFd : errFd;
            if (fd >= 0 && (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) != 0) {
                const ssize_t got = ::read(fd, buffer, sizeof buffer);
                if (got > 0) {
                    (i == 0 ? result.out : result.err)
                        .append(buffer, static_cast<std::size_t>(got));
                } else if (got == 0 || errno != EINTR) {
                    ::close(fd);
                    fd = -1;
                }
            }
        }
        if (inFd >= 0 && (fds[2].revents & (POLLOUT | POLLERR | POLLHUP)) != 0) {
            const ssize_t put = ::write(inFd, input.data() + written, input.size() - written);
            if (put > 0) {
                written += static_cast<std::size_t>(put);
            }
            if (put < 0 && errno != EINTR && errno != EAGAIN) {
                written = input.size(); // the child stopped reading
            }
            if (written == input.size()) {
                ::close(inFd);
                inFd = -1;
            }
        }
    }
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

} // namespace zemvar::testing
