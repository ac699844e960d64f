#include "XML/XML_input_stream.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdio>
#include <string>
#include <vector>

using namespace Tessel;
using testing::HasSubstr;
using namespace testing::internal;  // CaptureStderr and friends

namespace {

const std::string data = TESSEL_TEST_DATA "/input/";

std::string Copy(const char* text) {
    return text ? text : "(null)";
}

// An error record copied out of the handler, with the current node's text.
struct Record {
    Record(const Error_info& r, xmlTextReaderPtr reader)
        : severity(r.severity_string), msg(r.msg), uri(Copy(r.uri)), xpath(Copy(r.xpath)),
          name(Copy(r.node.node_name)), line(r.line), col(r.col), node_valid(r.node.valid),
          node_line(r.node.node_line), parent_line(r.parent.node_line) {
        xmlChar* text = xmlNodeGetContent(xmlTextReaderCurrentNode(reader));
        content = Copy(reinterpret_cast<const char*>(text));
        xmlFree(text);
    }
    std::string severity, msg, uri, xpath, name, content;
    long line, col;
    bool node_valid;
    long node_line, parent_line;
};

template <class Source>
struct Collecting : Source {
    using Source::Source;
    using Source::Error_handler;
    void Error_handler(const Error_info& info) override { records.emplace_back(info, *this); }
    // Reads until Next_node fails; returns the number of nodes read.
    long Read_all() {
        long nodes = 0;
        while (this->Next_node() && nodes < 10000000)
            ++nodes;
        return nodes;
    }
    std::vector<Record> records;
};
using Collecting_file = Collecting<Input_file>;
using Collecting_data = Collecting<Input_data>;

// A temporary file holding text, read through Input_data(fd, name).
struct Temp_document {
    explicit Temp_document(const std::string& text) : file(std::tmpfile()) {
        fwrite(text.data(), 1, text.size(), file);
        fflush(file);
        lseek(fileno(file), 0, SEEK_SET);
    }
    ~Temp_document() { fclose(file); }
    FILE* file;
};

// Reads on to the next node with this name and, if given, this value.
bool Read_to(Input_data& in, const char* name, const char* value = nullptr) {
    while (in.Next_node())
        if (xmlStrEqual(xmlTextReaderConstName(in), BAD_CAST name) &&
            (!value || xmlStrEqual(xmlTextReaderConstValue(in), BAD_CAST value)))
            return true;
    return false;
}

}  // namespace

TEST(InputStream, CleanDocumentSkipAndTrace) {
    Collecting_file in((data + "clean.xml").c_str());
    in.log_processing = true;
    std::vector<std::string> seen;
    CaptureStderr();
    while (in.Next_node()) {
        seen.push_back(node_types[xmlTextReaderNodeType(in)] + std::string(" ") +
                       reinterpret_cast<const char*>(xmlTextReaderConstName(in)));
        if (seen.back() == "ELEMENT grp")
            in.Skip_node();
    }
    std::string trace = GetCapturedStderr();
    EXPECT_FALSE(in.Error_state());
    EXPECT_TRUE(in.records.empty());
    EXPECT_EQ(seen, (std::vector<std::string>{"DOCUMENT_TYPE log", "ELEMENT log", "COMMENT #comment", "ELEMENT rec",
                                              "TEXT #text", "END_ELEMENT rec", "ELEMENT grp", "ELEMENT rec",
                                              "TEXT #text", "END_ELEMENT rec", "END_ELEMENT log"}));
    std::string expected;
    for (size_t call = 0; call <= seen.size(); ++call)
        expected += call == 7 ? "xmlTextReaderNext\n" : "xmlTextReaderRead\n";
    EXPECT_EQ(trace, expected);
}

TEST(InputStream, UnreadableSourcesFailWithOneRecord) {
    auto check = [](auto& in) {
        EXPECT_TRUE(in.Error_state());
        EXPECT_FALSE(in.Next_node());
        ASSERT_EQ(in.records.size(), 1u);
        const Record& r = in.records[0];
        EXPECT_EQ(r.severity + " " + r.msg + " " + r.uri + " " + r.xpath, "ERROR Read error on input (null) (null)");
        EXPECT_FALSE(r.node_valid || r.line || r.col);
    };
    Collecting_file missing("no/such/file.xml");
    check(missing);
    Collecting_data bad_fd(-1, "x");
    check(bad_fd);

    Input_data plain(-1, "x");  // the default printout
    CaptureStdout();
    CaptureStderr();
    plain.Next_node();
    EXPECT_THAT(GetCapturedStdout(), testing::MatchesRegex(".*xml_input_stream.cpp [0-9]+: xml error\n"));
    EXPECT_THAT(GetCapturedStderr(), testing::MatchesRegex("Reading input XML: .*\nXML parser ERROR\n"
                                                           "Read error on input\\(null\\) near line 0 col 0\n"));
}

TEST(InputStream, PrintoutWithNodeAndRelativeUri) {
    char cwd[4096];
    ASSERT_TRUE(getcwd(cwd, sizeof cwd) && chdir(TESSEL_TEST_DATA) == 0);
    Input_file in("input/clean.xml");
    ASSERT_EQ(chdir(cwd), 0);
    ASSERT_TRUE(Read_to(in, "#text", "8"));
    std::string position = std::to_string(xmlTextReaderGetParserLineNumber(in)) + " col " +
                           std::to_string(xmlTextReaderGetParserColumnNumber(in));
    CaptureStdout();
    CaptureStderr();
    in.Error_handler("Bad %s for %s", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr, "TEXT", "rec");
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(GetCapturedStderr(), "XML parser VALIDITY_ERROR\nBad TEXT for recfile://localhost/input/clean.xml near line " +
                                       position + "\nXPATH of error /log/rec/text()\nTEXT \"text\" at line 15\n" +
                                       "Parent ELEMENT \"rec\" at line 15\n");
    EXPECT_TRUE(in.Error_state());
    EXPECT_TRUE(in.Next_node());
    EXPECT_FALSE(in.Error_state());
}

TEST(InputStream, MessagesAreCutOnlyWhenFormatted) {
    Collecting_file in((data + "clean.xml").c_str());
    std::string text(300, 'x'), literal = "100% sure: %s%n%d " + text;
    in.Error_handler("%s", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr, text.c_str());
    CaptureStdout();
    Input_data::Error_handler_entry(&in, literal.c_str(), XML_PARSER_SEVERITY_WARNING, nullptr);
    EXPECT_EQ(GetCapturedStdout(), "");
    ASSERT_EQ(in.records.size(), 2u);
    EXPECT_EQ(in.records[0].msg, text.substr(0, 101));
    EXPECT_EQ(in.records[1].severity + " " + in.records[1].msg, "WARNING " + literal);
    EXPECT_TRUE(in.Error_state());

    Collecting_file percent((data + "percent.xml").c_str());
    percent.Read_all();
    EXPECT_EQ(percent.records.at(0).msg, "Value for attribute kind of rec is different from default \"100%s%n%d-"
                                         "PADDING-PADDING-PADDING-PADDING-PADDING-PADDING-PADDING-PADDING-PADDING-"
                                         "PADDING-END\"\n");
}

TEST(InputStream, BrokenDocumentsEndInRecords) {
    auto check = [](auto&& in, const char* first) {
        in.Read_all();
        ASSERT_GE(in.records.size(), 2u) << first;
        EXPECT_THAT(in.records.front().msg, HasSubstr(first));
        EXPECT_EQ(in.records.back().msg, "Read error on input");
    };
    check(Collecting_file((data + "malformed.xml").c_str()), "AttValue: \" or ' expected");
    check(Collecting_file((data + "unknown_entity.xml").c_str()), "Entity 'nope' not defined");
    check(Collecting_file((data + "missing_dtd.xml").c_str()), "nowhere.dtd\"");
    check(Collecting_file((data + "not_utf8.xml").c_str()), "Input is not proper UTF-8");
    const std::string dtd = "<?xml version=\"1.0\"?>\n<!DOCTYPE a [<!ELEMENT a ANY>]>\n";
    std::string deep;
    for (int i = 0; i < 1000; ++i)
        deep += "<a>";
    Temp_document nested(dtd + deep), huge(dtd + "<a>" + std::string(11000000, 'x') + "</a>\n");
    check(Collecting_data(fileno(nested.file), "deep"), "Excessive depth in document: 256");
    check(Collecting_data(fileno(huge.file), "huge"), "huge text node");

    // Without a DTD the validating reader stops at the first element.
    Collecting_file no_dtd((data + "no_dtd.xml").c_str());
    EXPECT_EQ(no_dtd.Read_all(), 0);
    ASSERT_EQ(no_dtd.records.size(), 2u);
    const Record& r = no_dtd.records[0];
    EXPECT_EQ(r.severity + " " + r.msg, "VALIDITY_ERROR Validation failed: no DTD found !");
    EXPECT_EQ(r.uri, "file://localhost/" + data + "no_dtd.xml");
    EXPECT_EQ(r.line, 3);
    EXPECT_FALSE(r.node_valid);
}

TEST(InputStream, RelaxNGReplacesTheDtd) {
    const std::string schema = data + "log.rng";
    Collecting_file valid((data + "no_dtd.xml").c_str());
    valid.Set_RelaxNG(schema.c_str());
    EXPECT_EQ(valid.Read_all(), 6);
    EXPECT_FALSE(valid.Error_state());
    EXPECT_TRUE(valid.records.empty());

    Collecting_file invalid((data + "schema_invalid.xml").c_str());
    invalid.Set_RelaxNG(schema.c_str());
    invalid.Read_all();
    ASSERT_GE(invalid.records.size(), 2u);
    const Record& r = invalid.records[0];
    EXPECT_EQ(r.severity + " " + r.msg, "VALIDITY_ERROR Type integer doesn't allow value 'abc'\n");
    EXPECT_EQ(r.name + " " + r.xpath + " " + std::to_string(r.node_line), "rec /log/rec 4");
    EXPECT_EQ(invalid.records.back().msg, "Read error on input");

    // An unloadable schema is reported; then, as after dropping a schema, the DTD is required.
    Collecting_file missing((data + "no_dtd.xml").c_str()), dropped((data + "no_dtd.xml").c_str());
    missing.Set_RelaxNG("no-such-schema.rng");
    EXPECT_TRUE(missing.Error_state());
    dropped.Set_RelaxNG(schema.c_str());
    dropped.Set_RelaxNG(nullptr);
    for (Collecting_file* in : {&missing, &dropped}) {
        in->Read_all();
        EXPECT_EQ(in->records.end()[-2].msg, "Validation failed: no DTD found !");
    }
    // Once reading has started the validation does not change any more.
    Collecting_file late((data + "schema_invalid.xml").c_str());
    late.Set_RelaxNG(schema.c_str());
    ASSERT_TRUE(late.Next_node());
    late.Set_RelaxNG(nullptr);
    late.Read_all();
    EXPECT_EQ(late.records.at(0).msg, invalid.records[0].msg);
}

TEST(InputStream, ExpandReadsTheSubtree) {
    Input_data unread(-1, "x");
    EXPECT_FALSE(unread.Expand());
    EXPECT_TRUE(unread.Error_state());

    Collecting_file in((data + "clean.xml").c_str());
    ASSERT_TRUE(Read_to(in, "grp") && in.Expand());
    xmlChar* text = xmlNodeGetContent(xmlTextReaderCurrentNode(in));
    EXPECT_STREQ(reinterpret_cast<const char*>(text), "67");
    xmlFree(text);
    ASSERT_TRUE(in.Next_node());  // into the expanded subtree
    EXPECT_EQ(xmlTextReaderDepth(in), 2);

    // A subtree broken far beyond the reader's look-ahead.
    std::string items;
    for (int i = 0; i < 5000; ++i)
        items += "<rec>" + std::to_string(i) + "</rec>\n";
    Temp_document doc("<?xml version=\"1.0\"?>\n<!DOCTYPE log [\n<!ELEMENT log (grp)>\n<!ELEMENT grp (rec*)>\n"
                      "<!ELEMENT rec (#PCDATA)>\n]>\n<log><grp>\n" + items + "<rec>x</grp></log>\n");
    Collecting_data broken(fileno(doc.file), "broken");
    ASSERT_TRUE(Read_to(broken, "grp"));
    EXPECT_TRUE(broken.records.empty());
    EXPECT_FALSE(broken.Expand());
    EXPECT_THAT(broken.records.at(0).msg, HasSubstr("Opening and ending tag mismatch: rec line 5008 and grp"));
}

TEST(InputStream, LinesBeyond65535) {
    // Line n holds <rec>n</rec>; an undeclared element follows on line 70001.
    std::string text = "<?xml version=\"1.0\"?>\n<!DOCTYPE log [\n<!ELEMENT log (rec*)>\n"
                       "<!ELEMENT rec (#PCDATA)>\n]>\n<log>\n";
    for (int line = 7; line <= 70000; ++line)
        text += "<rec>" + std::to_string(line) + "</rec>\n";
    Temp_document doc(text + "<bogus>x</bogus>\n</log>\n");
    Collecting_data in(fileno(doc.file), "big");
    ASSERT_TRUE(Read_to(in, "#text", "69000"));
    in.Error_handler("Bad item", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr);
    in.Read_all();
    ASSERT_EQ(in.records.size(), 3u);
    EXPECT_EQ(in.records[0].node_line, 69000);
    EXPECT_EQ(in.records[0].parent_line, 69000);
    const Record& dtd = in.records[1];
    EXPECT_EQ(dtd.msg, "No declaration for element bogus\n");
    EXPECT_EQ(dtd.line, 70001);
    EXPECT_GT(dtd.node_line, 65535);
    EXPECT_EQ(std::to_string(dtd.node_line), dtd.content);
}

TEST(InputStream, StructuredErrorDump) {
    Collecting_file in((data + "malformed.xml").c_str());
    xmlTextReaderSetStructuredErrorHandler(in, Input_data::Structured_error_entry, &in);
    CaptureStderr();
    in.Read_all();
    EXPECT_THAT(GetCapturedStderr(),
                testing::StartsWith("struct err: domain 1\ncode 39\nmsg AttValue: \" or ' expected\n\nerr level 3\n"
                                    "file file://localhost/" + data + "malformed.xml\nline 3\nstr1 (null)\n"
                                    "str2 (null)\nstr3 (null)\nint1 0\nint2 12\nparser 0x"));
    ASSERT_EQ(in.records.size(), 1u);  // only the reader's own failure
}
