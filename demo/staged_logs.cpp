// Staged log files: written as <name>.partial, renamed on success, removed otherwise.
#include "staged_logs.hpp"

#include <cerrno>
#include <cstdio>
#include <cstring>

Staged_logs::Staged_logs(const std::string& directory, const std::vector<Log_target>& log_targets)
    : dir(directory), targets(log_targets) {
    for (size_t i = 0; i < targets.size(); ++i) {
        streams.emplace_back(
            new Tessel::Output_stream(Staging_path(i).c_str(), targets[i].root, nullptr, nullptr));
        streams.back()->filters.Set(0, targets[i].categories);
    }
}

Staged_logs::~Staged_logs() {
    Close();
    if (published) return;
    for (size_t i = 0; i < targets.size(); ++i) std::remove(Staging_path(i).c_str());
}

bool Staged_logs::OK() const {
    for (const auto& stream : streams)
        if (!stream->OK()) return false;
    return true;
}

// Destroying a stream writes its closing tag and closes its file.
void Staged_logs::Close() { streams.clear(); }

bool Staged_logs::Publish(std::string& error) {
    Close();
    for (size_t i = 0; i < targets.size(); ++i)
        if (std::rename(Staging_path(i).c_str(), Path(i).c_str()) != 0) {
            error = "cannot rename " + Staging_path(i) + ": " + std::strerror(errno);
            return false;
        }
    published = true;
    return true;
}
