#include "e2e/ScanRun.h"

#include <array>
#include <cstdlib>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>

namespace {

std::string drain(int fd) {
    std::string text;
    std::array<char, 4096> buffer{};
    for (ssize_t n = 0; (n = read(fd, buffer.data(), buffer.size())) > 0;)
        text.append(buffer.data(), static_cast<std::size_t>(n));
    close(fd);
    return text;
}

/// The values of a written row: quoted, joined with commas, quotes doubled.
std::vector<std::string> cells(const std::string& row) {
    std::vector<std::string> values(1);
    bool quoted = false;
    for (std::size_t i = 0; i < row.size(); ++i) {
        if (row[i] == '"' && quoted && i + 1 < row.size() && row[i + 1] == '"')
            values.back() += row[i++];
        else if (row[i] == '"')
            quoted = !quoted;
        else if (row[i] == ',' && !quoted)
            values.emplace_back();
        else
            values.back() += row[i];
    }
    return values;
}

}  // namespace

ScanRun::ScanRun() {
    for (const char* const directory : {"bin", "nls", "input/srv"})
        tree.mkdirp(directory);
    std::filesystem::copy_file(SCAN_BINARY, tree.path("bin/scan"));
    std::filesystem::copy(SCAN_NLS_DIR, tree.path("nls"),
                          std::filesystem::copy_options::recursive);
    tree.write("bin/Agent",
               "#!/bin/sh\ncd \"${0%/bin/*}\"; echo \"$*\" >>told || exit; exit $(cat answer)");
    tree.chmod("bin/Agent", 0755);
}

void ScanRun::define(const std::string& text) const {
    tree.write(kDefinition, text);
}

void ScanRun::start(const std::vector<std::string>& more) {
    std::vector<std::string> arguments = {"-scan", "-jobname",      "job", "-sidrunnumber",
                                          "3",     "-jobrunnumber", "5",   "-servername",
                                          "srv"};
    arguments.insert(arguments.end(), more.begin(), more.end());
    startPlain(arguments);
}

void ScanRun::startPlain(const std::vector<std::string>& arguments) {
    for (const char* const left : {"told", kJobFile, kResources}) {
        if (!keepsLocks || left != kResources)
            unlink(tree.path(left).c_str());
    }
    tree.write("answer", std::to_string(agentAnswer));
    std::array<int, 2> out{};
    std::array<int, 2> agent{};
    if (pipe(out.data()) != 0 || pipe(agent.data()) != 0)
        throw std::system_error(errno, std::generic_category(), "pipe");
    std::vector<std::string> all = {tree.path("bin/scan")};
    for (const std::string& argument : arguments)
        all.push_back(argument == "@agent" ? "0," + std::to_string(agent[1]) : argument);
    std::vector<char*> argv;
    for (std::string& argument : all)
        argv.push_back(argument.data());
    argv.push_back(nullptr);

    const pid_t child = fork();
    if (child == 0) {
        dup2(out[1], STDOUT_FILENO);
        if (inChild)
            inChild();
        execv(argv[0], argv.data());
        _exit(127);
    }
    close(out[1]);
    close(agent[1]);
    if (whileRunning)
        whileRunning(child);
    output = drain(out[0]);
    status = drain(agent[0]);
    int state = 0;
    waitpid(child, &state, 0);
    exitCode = WIFEXITED(state) ? WEXITSTATUS(state) : 128 + WTERMSIG(state);
}

std::string ScanRun::logged() const {
    static constexpr std::size_t kStampLength = 24;  // "YYYY-MM-DD hh:mm:ss.mmm "
    std::istringstream lines(log());
    std::string result;
    for (std::string line; std::getline(lines, line);) {
        if (line.size() > kStampLength && line.starts_with("20"))
            result += (result.empty() ? "" : " ") + line.substr(kStampLength, 8);
    }
    return result;
}

std::string ScanRun::neighbours() const {
    static const std::regex kFacts(
        R"(Resource=\w+|-exitCode \d+|exitCode=\d+|-jobendtimestamp(?= \s))");
    const std::string text = tree.read(kResources) + tree.read("told") + tree.read(kJobFile);
    std::string facts;
    for (std::sregex_iterator fact(text.begin(), text.end(), kFacts), end; fact != end; ++fact)
        facts += " " + fact->str();
    return facts;
}

std::vector<ScanRun::Record> ScanRun::records(const std::string& entity) const {
    std::istringstream lines(result());
    std::vector<std::string> columns;
    std::vector<Record> found;
    bool body = false;
    const std::string tag = "[" + entity + "]";
    for (std::string line; std::getline(lines, line);) {
        body = body || line == "[/Header]";
        if (line != tag || !std::getline(lines, line))
            continue;
        if (!body) {
            columns = cells(line);
            continue;
        }
        const std::vector<std::string> values = cells(line);
        Record& record = found.emplace_back();
        for (std::size_t i = 0; i < columns.size() && i < values.size(); ++i)
            record[columns[i]] = values[i];
    }
    return found;
}

std::string ScanRun::value(const std::string& entity, const std::string& column) const {
    const std::vector<Record> found = records(entity);
    return found.empty() || !found.front().contains(column) ? "" : found.front().at(column);
}

std::string requestFor(const std::vector<RequestedFilesystem>& filesystems,
                       const std::string& more) {
    std::ostringstream text;
    text << "[Header]\n[AgentScan]\nasJobName,asScanningCompID\n"
            "[Filesystem]\nfsID,fsMountPoint\n[LdapTree]\nltComputerID\n"
            "[NasFiler]\nnfComputerID,nfName,nfNetworkName,nfIPAddress,nfOSType\n"
            "[MonDirSpec]\nmdsID,mdsPath\n"
            "[CuStatDef]\nsdID,sdCreator,sdName,sdType,sdSummary,sdWhereClause\n[/Header]\n"
            "[AgentScan]\n\"job\",42\n";
    for (const RequestedFilesystem& filesystem : filesystems)
        text << "[Filesystem]\n"
             << filesystem.id << ",\"" << filesystem.mountPoint << "\"\n"
             << filesystem.children << "[/Filesystem]\n";
    text << "[CuStatDef]\n100,\"sys\",\"builtin\",3,\"Y\",null\n[/CuStatDef]\n"
         << more << "[/AgentScan]\n";
    return text.str();
}

std::string dataFile(const std::string& name) {
    std::ifstream file(SCAN_TEST_DATA "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}
