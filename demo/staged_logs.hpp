// Log streams written under temporary names and put in place only when the
// whole run succeeds, so that a failed run leaves no file that looks complete.
#ifndef TESSEL_DEMO_STAGED_LOGS_HPP
#define TESSEL_DEMO_STAGED_LOGS_HPP

#include <XML/Tessel.hpp>

#include <memory>
#include <string>
#include <vector>

// One log file: its name, its root element and the categories it takes.
struct Log_target {
    const char* name;
    const char* root;
    Tessel::Filter categories;
    const char* holds;  // what the summary says the file holds
};

class Staged_logs {
public:
    // Opens an Output_stream for every target, as dir/<name>.partial.
    Staged_logs(const std::string& dir, const std::vector<Log_target>& targets);
    // Discards the files unless they were published.
    ~Staged_logs();

    // True when every file could be opened.
    bool OK() const;
    Tessel::Output_stream& Stream(size_t i) { return *streams[i]; }
    std::string Path(size_t i) const { return dir + "/" + targets[i].name; }
    // Closes the streams (closing tags written) and renames every file to its
    // final name; false, with the reason in error, when a rename fails.
    bool Publish(std::string& error);

private:
    void Close();
    std::string Staging_path(size_t i) const { return Path(i) + ".partial"; }

    std::string dir;
    std::vector<Log_target> targets;
    std::vector<std::unique_ptr<Tessel::Output_stream>> streams;
    bool published = false;
};

#endif
