// Output files and log streams: the document around the records, channel
// filters, closing, error records as XML, and threads logging at once.
#include "XML/Tessel.hpp"

#include <fcntl.h>
#include <unistd.h>

#include "support/recording.hpp"

#include <atomic>
#include <regex>
#include <thread>
#include <tuple>

using namespace Tessel;
using namespace Tessel_test;

namespace {

const std::string header = "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<!DOCTYPE log SYSTEM \"log.dtd\">\n";

Output_stream* Open(const char* name, Filter channel_0) {
    Output_stream* stream = new Output_stream(Path(name).c_str(), "log", "log.dtd", nullptr);
    return stream->filters[0] = channel_0, stream;
}

// A file of an application's own, on standard output but not owning it: every
// byte it writes and every close go to these.
std::string captured;
int closes = 0;
struct Captured : Output_file {
    Captured() : Output_file(STDOUT_FILENO, false) { Init("log", "log.dtd", nullptr); }
    ~Captured() override { Finish(); }
    int Write(const char* bytes, int length) override { return captured.append(bytes, length), length; }
    int Close() override { return ++closes, Output_file::Close(); }
};

}  // namespace

TEST(Stream, DocumentAroundTheRecordsAndChannelFilters) {
    Output_stream* older = Open("older.xml", 0);
    Open("zero.xml", 0);
    EXPECT_EQ(Contents("zero.xml"), header + "<log>\n");
    older->filters[1] = 0x6;
    // Filter value, channel (-1: any channel), element name (none: a null node).
    const std::tuple<Filter, int, const char*> offers[] = {{0x2, -1, "a"},    {0x1, -1, "b"}, {0x2, 0, "c"},
                                                           {0x4, 1, "d"},     {0x1, 3, "e"},  {0x1, 4, "f"},
                                                           {0x1, -1, nullptr}};
    for (const auto& [filter, channel, name] : offers) {
        xmlNodePtr node = name ? xmlNewNode(nullptr, BAD_CAST name) : nullptr;
        channel < 0 ? XML_Log(node, filter) : XML_Log(node, channel, filter);
        EXPECT_EQ(node, nullptr);
    }
    Output_stream::Close_all();
    Output_stream::Close_all();
    EXPECT_EQ(Contents("older.xml"), header + "<log>\n<a/>\n<d/>\n<f/>\n</log>\n");
    EXPECT_EQ(Contents("zero.xml"), header + "<log>\n<f/>\n</log>\n");

    // A file that cannot be opened drops what it is offered.
    Output_stream* nowhere = Open("no_such_directory/x.xml", 1);
    EXPECT_FALSE(nowhere->OK());
    xmlNodePtr node = xmlNewNode(nullptr, BAD_CAST "lost");
    XML_Log(node, 1);
    delete nowhere;
}

// The descriptor number of a closed stream is soon reused by another file:
// neither a second close nor a late write may reach that file. A class that
// overrides Write and Close sees every byte and one close.
TEST(Stream, ClosingClosesOnceAndOnlyWhatItOwns) {
    Output_stream* early = Open("early.xml", 1);
    EXPECT_EQ(early->Close(), 0);
    const int reused = open(Path("other.xml").c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0664);
    xmlNodePtr node = xmlNewNode(nullptr, BAD_CAST "late");
    early->Write_node(node);
    node = xmlNewNode(nullptr, BAD_CAST "late");
    XML_Log(node, 1);
    delete early;
    EXPECT_NE(fcntl(reused, F_GETFD), -1);
    EXPECT_EQ(Contents("other.xml"), "");
    EXPECT_EQ(Contents("early.xml"), header + "<log>\n");

    { Output_stream borrowed(reused, false, "log", "log.dtd", nullptr); }
    EXPECT_EQ(close(reused), 0);
    EXPECT_EQ(Contents("other.xml"), header + "<log>\n</log>\n");

    {
        Captured file;
        node = xmlNewNode(nullptr, BAD_CAST "r");
        file.Write_node(node);
    }
    EXPECT_EQ(captured, header + "<r/>\n");
    EXPECT_EQ(closes, 1);
}

TEST(Stream, ErrorRecordsAsXml) {
    Error_info r{xmlParserSeverities(3), "WARNING", "a<b", "u.xml", 4, 7, "/log", false, {}, {}};
    const std::string start =
        "<Error><Severity>WARNING</Severity><Text>a&lt;b</Text><Location><URI>u.xml</URI><Line>4</Line>"
        "<Column>7</Column>";
    EXPECT_EQ(Dump(XML_Write(r)), start + "</Location></Error>");
    r.xpath_valid = true;
    r.node = {true, 9, nullptr, 1, "Element"};
    r.parent = {true, 8, "log", 1, "Element"};
    EXPECT_EQ(Dump(XML_Write(r)),
              start +
                  "<XPath>/log</XPath></Location><Parent_Node><NodeType>Element</NodeType>"
                  "<Name>log</Name><Line>8</Line></Parent_Node><Node><NodeType>Element"
                  "</NodeType><Line>9</Line></Node></Error>");

    // The default handler writes every record into an output file that admits
    // the error category on some channel, and none into one that does not.
    long records = 0;
    for (const char* name : {"refusing.xml", "admitting.xml"}) {
        Output_file file(Path(name).c_str(), "log", "log.dtd", nullptr);
        file.filters[2] = name[0] == 'a' ? error_filter : ~error_filter;
        const std::string document = "<!DOCTYPE log [<!ELEMENT log EMPTY>]><log><x/>y</log>";
        Recording<Input_data> input(Reader_for(document));
        input.pass_on = true;
        input.Associate_output(&file);
        Output_of([&] { input.Process(); });
        records = input.records.size();
    }
    EXPECT_EQ(Contents("refusing.xml"), header);
    EXPECT_GT(records, 0);
    const std::string written = Contents("admitting.xml");
    const std::regex element("<Error>");
    EXPECT_EQ(std::distance(std::sregex_iterator(written.begin(), written.end(), element), {}), records);
}

// Four threads log through two streams while a fifth turns a filter word of
// one of them on and off. Each file must be one well-formed document holding
// every record it had to admit, once, in the order of the other file.
TEST(Stream, ThreadsLogIntoStreamsInOneOrder) {
    const int threads = 4, per_thread = 250;
    Open("all.xml", 0x3);
    Output_stream* some = Open("some.xml", 0x1);
    std::atomic<bool> done(false);
    std::thread changer([&] {
        for (Filter word = 0; !done; word ^= 0x2) some->filters.Set(1, word);
    });
    std::vector<std::thread> loggers;
    for (int t = 0; t < threads; ++t)
        loggers.emplace_back([t] {
            for (int i = 0; i < per_thread; ++i) {
                xmlNodePtr node = xmlNewNode(nullptr, BAD_CAST "r");
                xmlNewProp(node, BAD_CAST "id", BAD_CAST std::to_string(t * per_thread + i).c_str());
                XML_Log(node, i % 2 ? 0x1 : 0x2);
            }
        });
    for (std::thread& logger : loggers) logger.join();
    done = true;
    changer.join();
    Output_stream::Close_all();

    std::vector<int> ids[2];  // the ids in all.xml and in some.xml
    for (int f = 0; f < 2; ++f) {
        xmlDocPtr doc = xmlReadFile(Path(f ? "some.xml" : "all.xml").c_str(), nullptr, XML_PARSE_NOBLANKS);
        ASSERT_NE(doc, nullptr);
        for (xmlNodePtr r = xmlDocGetRootElement(doc)->children; r; r = r->next)
            ids[f].push_back(atoi(reinterpret_cast<const char*>(r->properties->children->content)));
        xmlFreeDoc(doc);
    }
    std::vector<int> next(threads, 0);  // each thread's records once, in its order
    for (int id : ids[0]) EXPECT_EQ(id % per_thread, next[id / per_thread]++);
    EXPECT_EQ(ids[0].size(), size_t(threads * per_thread));
    size_t at = 0, odd = 0;
    for (int id : ids[1]) {  // a subsequence of the first file holding every 0x1 record
        while (at < ids[0].size() && ids[0][at] != id) ++at;
        ASSERT_LT(at++, ids[0].size()) << id;
        odd += id % 2;
    }
    EXPECT_EQ(odd, ids[0].size() / 2);
}
