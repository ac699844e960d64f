// Documents an attacker would send: entity bombs, external files and network
// resources, expansion in attribute values, bytes that are not characters. Each
// must end in records and a false result, read nothing from outside unless the
// source's policy allows it, and keep memory bounded. Deep nesting, huge text,
// bad UTF-8 and truncation at every byte are in the parser's broken-input table.
#include "XML/Tessel.hpp"

#include "support/recording.hpp"

#include <netinet/in.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <functional>
#include <regex>
#include <thread>
#include <tuple>

using namespace Tessel;
using namespace Tessel_test;

// Outside the anonymous namespace: gcc 12 warns falsely ("used uninitialized")
// on a descriptor of an internal type that has no binding rows.
namespace hostile {

struct Line {
    std::string text, value;
};
const Attrib::Entry<Line> value_attr("v", Get_Access<Line, std::string>(Access::GetSet(&Line::value)));
const Attrib::Attrib_Table<Line> line_attr_rows[] = {{value_attr}};
const Attrib::Attrib_Hash<Line> line_attrs(line_attr_rows);

std::string texts;  // the text of every line read, each followed by '|'
struct Keeping : Info<Line> {
    using Info<Line>::Info;
    bool Commit(Line& line, Input_data&) const override { return texts += line.text + "|", true; }
};
const Info<void> log_info("/log");
const Keeping line_info("/log/r", Get_Access<Line, std::string>(Access::GetSet(&Line::text)), line_attrs);

const std::string dtd =
    "<!ELEMENT log (r*)><!ELEMENT r (#PCDATA)><!ATTLIST r v CDATA #IMPLIED>"
    "<!ENTITY ten \"0123456789\"><!ENTITY kilo \"" +
    Repeated("&ten;", 100) + "\">";

}  // namespace hostile

namespace {
using namespace hostile;

// A directory with docs/ (the allowed one, holding log.dtd and near.ent) and
// outside/far.ent beside it; documents are written to docs/ and read from
// there, so relative entity names resolve against docs/.
struct Hostile : testing::Test {
    static void SetUpTestSuite() {
        char pattern[] = "/tmp/tessel_hostile_XXXXXX";
        base = mkdtemp(pattern);
        system(("mkdir " + base + "/docs " + base + "/outside").c_str());
        Write("/docs/log.dtd", dtd);
        Write("/docs/near.ent", "near");
        Write("/outside/far.ent", "SECRET");
    }
    static void TearDownTestSuite() { system(("rm -rf " + base).c_str()); }
    static void Write(const char* file, const std::string& text) { std::ofstream(base + file) << text; }

    // Reads body (the document after "<!DOCTYPE log") under a policy; the
    // result, then the messages and the texts read.
    std::string Read(const std::string& body, bool abort_on_error,
                     const std::function<void(Input_policy&)>& set = {}) {
        Write("/docs/doc.xml", "<!DOCTYPE log" + body);
        Recording<Input_file> input((base + "/docs/doc.xml").c_str());
        input.abort_on_error = abort_on_error;
        if (set) set(input.policy);
        texts.clear();
        bool result;
        Output_of([&] { result = input.Process(); });  // the "xml error" lines
        return (result ? "ok " : "failed ") + input.messages + " texts " + texts;
    }
    static std::string base;
};
std::string Hostile::base;

TEST_F(Hostile, UnsafeDocumentsEndInRecordsAndFalse) {
    // An address nothing should connect to: a listening socket whose queue is
    // inspected afterwards.
    const int server = socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    bind(server, reinterpret_cast<sockaddr*>(&address), size);
    listen(server, 8);
    getsockname(server, reinterpret_cast<sockaddr*>(&address), &size);
    const std::string url = "http://127.0.0.1:" + std::to_string(ntohs(address.sin_port)) + "/x";
    std::string lol = "<!ENTITY l0 \"lol\">";
    for (int i = 1; i < 10; ++i)
        lol += "<!ENTITY l" + std::to_string(i) + " \"" + Repeated("&l" + std::to_string(i - 1) + ";", 10) +
               "\">";
    // libxml2's loop check or the budget, whichever comes first
    const char* const bomb = "Detected an entity reference loop|Entity expansion budget exceeded";
    const std::function<void(Input_policy&)> any = {},
                                             small = [](Input_policy&p) { p.expansion_budget = 50000; },
                                             usr = [](Input_policy&p) { p.allowed_directories = {"/usr"}; },
                                             all = [](Input_policy&p) { p.allow_external = true; };
    // Declarations, content, policy, a pattern of the record.
    const std::tuple<std::string, std::string, std::function<void(Input_policy&)>, const char*> cases[] = {
        {lol, "<r>&l9;</r>", any, bomb},
        {"<!ENTITY big \"" + Repeated("&kilo;", 100) + "\">", "<r>" + Repeated("&big;", 200) + "</r>", any,
         bomb},
        {"", Repeated("<r v=\"" + Repeated("&kilo;", 100) + "\"/>", 120), any, "budget exceeded: 10"},
        {"", Repeated("<r v=\"&kilo;&kilo;\"/>", 30), small, "budget exceeded: 5"},
        {"", "<r>" + Repeated("&kilo;", 60) + "</r>", small, "budget exceeded: 5"},
        {"<!ENTITY f SYSTEM \"../outside/far.ent\">", "<r>&f;</r>", any,
         "External entity refused: file://localhost/"},
        {"<!ENTITY f SYSTEM \"near.ent\">", "<r>&f;</r>", usr, "External entity refused: "},
        {"<!ENTITY % p SYSTEM \"../outside/far.ent\">%p;", "", any, "External entity refused: "},
        {"<!ENTITY n SYSTEM \"" + url + "\">", "<r>&n;</r>", any, "refused: http://127.0.0.1:"},
        {"<!ENTITY m SYSTEM \"missing.ent\">", "<r>&m;</r>", all, "External entity failed to load: "},
        {"", "<r>a" + std::string(1, '\0') + "b</r>", any, "Char 0x0 out of allowed range"}};
    for (const auto& [declarations, content, set, record] : cases)
        for (bool abort : {true, false}) {
            const auto read = Read(" [" + dtd + declarations + "]><log>" + content + "</log>", abort, set);
            EXPECT_TRUE(read.rfind("failed ", 0) == 0 && std::regex_search(read, std::regex(record)) &&
                        read.find("SECRET") == std::string::npos)
                << record << " in " << read.substr(0, 300);
        }
    EXPECT_EQ(Read(" SYSTEM \"" + url + "\"><log/>", true).rfind("failed External entity refused: http", 0),
              0u);
    EXPECT_LT(accept(server, nullptr, nullptr), 0);  // nothing connected
    close(server);
    rusage usage;
    getrusage(RUSAGE_SELF, &usage);
    EXPECT_LT(usage.ru_maxrss, 512 * 1024);  // kilobytes
}

// What the policy lets through: the document's own external DTD always, files
// in an allowed directory, and every local file with allow_external.
TEST_F(Hostile, PolicyOptInsReadTheirFiles) {
    const std::string both =
        " [" + dtd + "<!ENTITY n SYSTEM \"near.ent\"><!ENTITY f SYSTEM \"../outside/far.ent\">]>";
    const auto docs = [](Input_policy& policy) { policy.allowed_directories = {base + "/docs/"}; };
    EXPECT_EQ(Read(" SYSTEM \"log.dtd\"><log><r>&ten;</r></log>", true), "ok  texts 0123456789|");
    EXPECT_EQ(Read(both + "<log><r>&n;</r></log>", true, docs), "ok  texts near|");
    EXPECT_NE(Read(both + "<log><r>&f;</r></log>", true, docs).find("External entity refused"),
              std::string::npos);
    EXPECT_EQ(Read(both + "<log><r v=\"\">&n;&f;</r></log>", true,
                   [](Input_policy& policy) { policy.allow_external = true; }),
              "ok  texts nearSECRET|");
}

// One loader serves every source: sources on several threads, half allowed to
// read near.ent and half not, each get their own policy's answer.
TEST_F(Hostile, EachThreadsSourceGetsItsOwnPolicy) {
    Write("/docs/near.xml",
          "<!DOCTYPE log [" + dtd + "<!ENTITY n SYSTEM \"near.ent\">]><log><r>&n;</r></log>");
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i)
        threads.emplace_back([i, &wrong] {
            for (int round = 0; round < 50; ++round) {
                Recording<Input_file> input((base + "/docs/near.xml").c_str());
                input.policy.allow_external = i % 2 == 0;
                long texts = 0;
                while (input.Next_node()) texts += xmlTextReaderNodeType(input) == XML_READER_TYPE_TEXT;
                const bool refused = input.messages.find("External entity refused") != std::string::npos;
                wrong +=
                    refused == input.policy.allow_external || (texts == 1) != input.policy.allow_external;
            }
        });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, 0);
}

}  // namespace
