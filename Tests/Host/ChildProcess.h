#pragma once

#include <csignal>
#include <string>
#include <vector>

#include <fcntl.h>
#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace RKHostTests
{

// A child process whose standard output and error are read by the test, its input being given as text.
class ChildProcess
{
public:
    /// @param inOutput  a descriptor that takes the place of standard output, or -1 for a pipe.
    ChildProcess(const std::vector<std::string>& inCommand, const std::string& inInput,
                 const std::vector<std::string>& inEnvironment, int inOutput = -1)
    {
        int input[2];
        int output[2] = {-1, inOutput};
        int error[2];
        EXPECT_EQ(0, pipe2(input, O_CLOEXEC));
        EXPECT_EQ(0, pipe2(error, O_CLOEXEC));
        if (inOutput < 0)
        {
            EXPECT_EQ(0, pipe2(output, O_CLOEXEC));
        }
        posix_spawn_file_actions_t files;
        posix_spawn_file_actions_init(&files);
        posix_spawn_file_actions_adddup2(&files, input[0], STDIN_FILENO);
        posix_spawn_file_actions_adddup2(&files, output[1], STDOUT_FILENO);
        posix_spawn_file_actions_adddup2(&files, error[1], STDERR_FILENO);
        // Whatever runs the tests may have others open, make its pipes for instance.
        posix_spawn_file_actions_addclosefrom_np(&files, STDERR_FILENO + 1);
        Spawn(inCommand, inEnvironment, files);
        posix_spawn_file_actions_destroy(&files);
        close(input[0]);
        close(output[1]);
        close(error[1]);
        mOutput = output[0];
        mError = error[0];
        EXPECT_EQ(static_cast<ssize_t>(inInput.size()),
                  write(input[1], inInput.data(), inInput.size()));
        close(input[1]);
    }
    ~ChildProcess()
    {
        close(mOutput);
        close(mError);
    }
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    /// Reads standard output up to the end of its first line.
    std::string ReadLine() const
    {
        std::string line;
        char character;
        while (read(mOutput, &character, 1) == 1 && character != '\n')
            line += character;
        return line;
    }

    // Standard error is short, and so fits into its pipe while the output is read.
    std::string ReadOutput() const { return ReadAll(mOutput); }
    std::string ReadError() const { return ReadAll(mError); }
    pid_t Process() const { return mProcess; }
    void Signal(int inSignal) const { kill(mProcess, inSignal); }

    /// @return the exit code; the negative number of a signal that ended the process.
    int Wait() const
    {
        int status = 0;
        EXPECT_EQ(mProcess, waitpid(mProcess, &status, 0));
        return WIFEXITED(status) ? WEXITSTATUS(status) : -WTERMSIG(status);
    }

    static std::string ReadAll(int inDescriptor)
    {
        std::string text;
        char piece[4096];
        for (ssize_t got; (got = read(inDescriptor, piece, sizeof piece)) > 0;)
            text.append(piece, static_cast<std::size_t>(got));
        return text;
    }

private:
    static bool IsNamedIn(const std::vector<std::string>& inEnvironment,
                          const std::string& inVariable)
    {
        const std::string name = inVariable.substr(0, inVariable.find('=') + 1);
        for (const std::string& variable : inEnvironment)
            if (variable.compare(0, name.size(), name) == 0)
                return true;
        return false;
    }

    void Spawn(const std::vector<std::string>& inCommand,
               const std::vector<std::string>& inEnvironment,
               const posix_spawn_file_actions_t& inFiles)
    {
        std::vector<char*> arguments;
        for (const std::string& argument : inCommand)
            arguments.push_back(const_cast<char*>(argument.c_str()));
        arguments.push_back(nullptr);
        std::vector<char*> environment;
        for (const std::string& variable : inEnvironment)
            environment.push_back(const_cast<char*>(variable.c_str()));
        for (char** variable = environ; *variable != nullptr; ++variable)
            if (!IsNamedIn(inEnvironment, *variable))
                environment.push_back(*variable);
        environment.push_back(nullptr);

        // The tests may run where these are ignored, as in the background of a shell.
        sigset_t defaults;
        sigemptyset(&defaults);
        sigaddset(&defaults, SIGINT);
        sigaddset(&defaults, SIGTERM);
        posix_spawnattr_t attributes;
        posix_spawnattr_init(&attributes);
        posix_spawnattr_setsigdefault(&attributes, &defaults);
        posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGDEF);
        EXPECT_EQ(0, posix_spawn(&mProcess, arguments[0], &inFiles, &attributes, arguments.data(),
                                 environment.data()))
            << inCommand[0];
        posix_spawnattr_destroy(&attributes);
    }

    pid_t mProcess = -1;
    int mOutput = -1;
    int mError = -1;
};

} // namespace RKHostTests
