#include "XML/XML_input_stream.hpp"

#include "support/recording.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <unistd.h>

using namespace Tessel;
using namespace Tessel_test;
using testing::HasSubstr;
using namespace testing::internal;  // CaptureStderr and friends

namespace {

const std::string data = TESSEL_TEST_DATA "/input/";
using File = Recording<Input_file>;

// Reads on to the next node with this name and, if given, this value.
bool Read_to(Input_data& in, const char* name, const char* value = nullptr) {
    while (in.Next_node())
        if (xmlStrEqual(xmlTextReaderConstName(in), BAD_CAST name) &&
            (!value || xmlStrEqual(xmlTextReaderConstValue(in), BAD_CAST value)))
            return true;
    return false;
}

TEST(InputStream, CleanDocumentSkipAndTrace) {
    File in((data + "clean.xml").c_str());
    in.log_processing = true;
    std::vector<std::string> seen;
    CaptureStderr();
    while (in.Next_node()) {
        seen.push_back(node_types[xmlTextReaderNodeType(in)] + std::string(" ") +
                       reinterpret_cast<const char*>(xmlTextReaderConstName(in)));
        if (seen.back() == "ELEMENT grp") in.Skip_node();
    }
    std::string trace = GetCapturedStderr();
    EXPECT_FALSE(in.Error_state());
    EXPECT_TRUE(in.records.empty());
    EXPECT_EQ(seen,
              (std::vector<std::string>{"DOCUMENT_TYPE log", "ELEMENT log", "COMMENT #comment", "ELEMENT rec",
                                        "TEXT #text", "END_ELEMENT rec", "ELEMENT grp", "ELEMENT rec",
                                        "TEXT #text", "END_ELEMENT rec", "END_ELEMENT log"}));
    std::string expected;
    for (size_t call = 0; call <= seen.size(); ++call)
        expected += call == 7 ? "xmlTextReaderNext\n" : "xmlTextReaderRead\n";
    EXPECT_EQ(trace, expected);
}

TEST(InputStream, DefaultPrintout) {
    // A source without a reader: one record without any position.
    File missing("no/such/file.xml");
    Recording<Input_data> bad_fd(-1, "x");
    auto check = [](auto& in) {
        EXPECT_TRUE(in.Error_state());
        EXPECT_FALSE(in.Next_node());
        ASSERT_EQ(in.records.size(), 1u);
        const Record& r = in.records[0];
        EXPECT_EQ(r.severity + " " + r.msg + " " + r.uri + " " + r.xpath,
                  "ERROR Read error on input (null) (null)");
        EXPECT_FALSE(r.node_valid || r.line || r.col);
    };
    check(missing);
    check(bad_fd);
    Input_data plain(-1, "x");
    CaptureStdout();
    CaptureStderr();
    plain.Next_node();
    EXPECT_THAT(GetCapturedStdout(), testing::MatchesRegex(".*xml_input_stream.cpp [0-9]+: xml error\n"));
    EXPECT_THAT(GetCapturedStderr(),
                testing::MatchesRegex("Reading input XML: .*\nXML parser ERROR\n"
                                      "Read error on input\\(null\\) near line 0 col 0\n"));

    // With a current node and its parent; the URI keeps the relative name.
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
    EXPECT_EQ(GetCapturedStderr(),
              "XML parser VALIDITY_ERROR\nBad TEXT for recfile://localhost/input/clean.xml near line " +
                  position + "\nXPATH of error /log/rec/text()\nTEXT \"text\" at line 15\n" +
                  "Parent ELEMENT \"rec\" at line 15\n");
    EXPECT_TRUE(in.Error_state());
    EXPECT_TRUE(in.Next_node());
    EXPECT_FALSE(in.Error_state());

    // A record built by hand, with null strings and an unknown severity.
    Error_info blank = {};
    blank.severity_string = "";
    CaptureStderr();
    in.Error_handler(blank);
    EXPECT_EQ(GetCapturedStderr(), "XML parser \n(null)(null) near line 0 col 0\n");
}

TEST(InputStream, MessagesAreCutOnlyWhenFormatted) {
    File in((data + "clean.xml").c_str());
    std::string text(300, 'x'), literal = "100% sure: %s%n%d " + text;
    in.Error_handler("%s", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr, text.c_str());
    CaptureStdout();
    Input_data::Error_handler_entry(&in, literal.c_str(), XML_PARSER_SEVERITY_WARNING, nullptr);
    EXPECT_EQ(GetCapturedStdout(), "");  // no "xml error" line below severity 4
    ASSERT_EQ(in.records.size(), 2u);
    EXPECT_EQ(in.records[0].msg, text.substr(0, 101));
    EXPECT_EQ(in.records[1].severity + " " + in.records[1].msg, "WARNING " + literal);
    EXPECT_TRUE(in.Error_state());
}

TEST(InputStream, BrokenDocumentsEndInRecords) {
    File malformed((data + "malformed.xml").c_str());
    malformed.Read_all();
    ASSERT_GE(malformed.records.size(), 2u);  // every diagnostic of the failing read, then the read error
    EXPECT_EQ(malformed.records.front().msg, "AttValue: \" or ' expected\n");
    EXPECT_EQ(malformed.records.back().msg, "Read error on input");

    // Without a DTD the validating reader stops at the first element.
    File no_dtd((data + "no_dtd.xml").c_str());
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
    File valid((data + "no_dtd.xml").c_str());
    valid.Set_RelaxNG(schema.c_str());
    EXPECT_EQ(valid.Read_all(), 6);
    EXPECT_TRUE(valid.records.empty());

    File invalid((data + "schema_invalid.xml").c_str());
    invalid.Set_RelaxNG(schema.c_str());
    invalid.Read_all();
    ASSERT_GE(invalid.records.size(), 2u);
    const Record& r = invalid.records[0];
    EXPECT_EQ(r.severity + " " + r.msg, "VALIDITY_ERROR Type integer doesn't allow value 'abc'\n");
    EXPECT_EQ(r.name + " " + r.xpath + " " + std::to_string(r.node_line), "rec /log/rec 4");

    // An unloadable schema is reported; then, as after dropping a schema, the DTD is required.
    File missing((data + "no_dtd.xml").c_str()), dropped((data + "no_dtd.xml").c_str());
    missing.Set_RelaxNG("no-such-schema.rng");
    EXPECT_TRUE(missing.Error_state());
    dropped.Set_RelaxNG(schema.c_str());
    dropped.Set_RelaxNG(nullptr);
    for (File* in : {&missing, &dropped}) {
        in->Read_all();
        EXPECT_EQ(in->records.end()[-2].msg, "Validation failed: no DTD found !");
    }
}

TEST(InputStream, ExpandReadsTheSubtree) {
    Input_data unread(-1, "x");
    EXPECT_FALSE(unread.Expand());

    File in((data + "clean.xml").c_str());
    ASSERT_TRUE(Read_to(in, "grp") && in.Expand());
    xmlChar* text = xmlNodeGetContent(xmlTextReaderCurrentNode(in));
    EXPECT_STREQ(reinterpret_cast<const char*>(text), "67");
    xmlFree(text);
    ASSERT_TRUE(in.Next_node());  // into the expanded subtree
    EXPECT_EQ(xmlTextReaderDepth(in), 2);

    // A subtree broken far beyond the reader's look-ahead.
    std::string items;
    for (int i = 0; i < 5000; ++i) items += "<rec>" + std::to_string(i) + "</rec>\n";
    Temp_document doc(
        "<?xml version=\"1.0\"?>\n<!DOCTYPE log [\n<!ELEMENT log (grp)>\n<!ELEMENT grp (rec*)>\n"
        "<!ELEMENT rec (#PCDATA)>\n]>\n<log><grp>\n" +
        items + "<rec>x</grp></log>\n");
    Recording<Input_data> broken(doc.fd, "broken");
    ASSERT_TRUE(Read_to(broken, "grp"));
    EXPECT_FALSE(broken.Expand());
    EXPECT_THAT(broken.records.at(0).msg,
                HasSubstr("Opening and ending tag mismatch: rec line 5008 and grp"));
}

TEST(InputStream, LinesBeyond65535) {
    // Line n holds <rec>n</rec>; an undeclared element follows on line 70001.
    std::string text =
        "<?xml version=\"1.0\"?>\n<!DOCTYPE log [\n<!ELEMENT log (rec*)>\n"
        "<!ELEMENT rec (#PCDATA)>\n]>\n<log>\n";
    for (int line = 7; line <= 70000; ++line) text += "<rec>" + std::to_string(line) + "</rec>\n";
    Temp_document doc(text + "<bogus>x</bogus>\n</log>\n");
    Recording<Input_data> in(doc.fd, "big");
    ASSERT_TRUE(Read_to(in, "#text", "69000"));
    in.Error_handler("Bad item", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr);
    in.Read_all();
    ASSERT_EQ(in.records.size(), 3u);
    EXPECT_EQ(in.records[0].node_line, 69000);
    EXPECT_EQ(in.records[0].parent_line, 69000);
    const Record& dtd = in.records[1];
    EXPECT_EQ(dtd.msg + std::to_string(dtd.line), "No declaration for element bogus\n70001");
    EXPECT_EQ(std::to_string(dtd.node_line), dtd.content);
}

TEST(InputStream, StructuredErrorDump) {
    File in((data + "malformed.xml").c_str());
    xmlTextReaderSetStructuredErrorHandler(in, Input_data::Structured_error_entry, &in);
    CaptureStderr();
    in.Read_all();
    EXPECT_THAT(
        GetCapturedStderr(),
        testing::StartsWith("struct err: domain 1\ncode 39\nmsg AttValue: \" or ' expected\n\nerr level 3\n"
                            "file file://localhost/" +
                            data +
                            "malformed.xml\nline 3\nstr1 (null)\n"
                            "str2 (null)\nstr3 (null)\nint1 0\nint2 12\nparser 0x"));
    EXPECT_EQ(in.Messages(), std::vector<std::string>{"Read error on input"});
}

}  // namespace
