#include "XML/XML_input_stream.hpp"

#include "support/recording.hpp"

#include <gmock/gmock.h>

using namespace Tessel;
using namespace Tessel_test;
using namespace testing;
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

TEST(InputStream, DefaultPrintoutAndMessages) {
    // A source without a reader: one record without any position.
    Input_data plain(-1, "x");
    EXPECT_TRUE(plain.Error_state() && !plain.Expand());
    const auto [out, err] = Output_of([&] { plain.Next_node(); });
    EXPECT_THAT(out, MatchesRegex(".*xml_input_stream.cpp [0-9]+: xml error\n"));
    EXPECT_THAT(err, MatchesRegex("Reading input XML: .*\nXML parser ERROR\n"
                                  "Read error on input\\(null\\) near line 0 col 0\n"));

    // With a current node and its parent.
    File in((data + "clean.xml").c_str());
    in.pass_on = true;
    ASSERT_TRUE(Read_to(in, "#text", "8"));
    // The parser has read ahead of the node, whose line the record carries.
    ASSERT_GT(xmlTextReaderGetParserLineNumber(in), 15);
    const auto [no_out, printed] = Output_of([&] {
        in.Error_handler("Bad %s for %s", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr, "TEXT", "rec");
    });
    EXPECT_EQ(no_out, "");
    EXPECT_EQ(printed, "XML parser VALIDITY_ERROR\nBad TEXT for recfile://localhost/" + data +
                           "clean.xml near line 15 col 0"
                           "\nXPATH of error /log/rec/text()\nTEXT \"text\" at line 15\n" +
                           "Parent ELEMENT \"rec\" at line 15\n");
    EXPECT_TRUE(in.Error_state() && in.Next_node() && !in.Error_state());  // each read clears the state

    // Messages are cut only when formatted; no "xml error" line below severity 4.
    in.pass_on = false;
    std::string text(300, 'x'), literal = "100% sure: %s%n%d " + text;
    in.Error_handler("%s", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr, text.c_str());
    CaptureStdout();
    Input_data::Error_handler_entry(&in, literal.c_str(), XML_PARSER_SEVERITY_WARNING, nullptr);
    EXPECT_EQ(GetCapturedStdout(), "");
    EXPECT_EQ(in.messages, "Bad TEXT for rec|" + text.substr(0, 101) + "|" + literal + "|");
    EXPECT_TRUE(in.records[2].compare(0, 8, "WARNING ") == 0 && in.Error_state());
}

TEST(InputStream, RelaxNGReplacesTheDtd) {
    const std::string schema = data + "log.rng", uri = "file://localhost/" + data;
    File valid((data + "no_dtd.xml").c_str()), invalid((data + "schema_invalid.xml").c_str());
    for (File* in : {&valid, &invalid}) in->Set_RelaxNG(schema.c_str());
    EXPECT_EQ(valid.Read_all(), 6);
    EXPECT_TRUE(valid.records.empty());
    invalid.Read_all();
    ASSERT_GE(invalid.records.size(), 2u);
    // The record's line is the parser's position, which may be ahead.
    EXPECT_THAT(invalid.records[0],
                AllOf(StartsWith("VALIDITY_ERROR Type integer doesn't allow value 'abc'\n|" + uri +
                                 "schema_invalid.xml "),
                      EndsWith("|/log/rec|rec@4 2|abc")));

    // An unloadable schema is reported; then, as after dropping a schema, the
    // DTD is required: the first read fails at the first element, without a node.
    File missing((data + "no_dtd.xml").c_str()), dropped((data + "no_dtd.xml").c_str());
    missing.Set_RelaxNG("no-such-schema.rng");
    EXPECT_TRUE(missing.Error_state());
    dropped.Set_RelaxNG(schema.c_str());
    dropped.Set_RelaxNG(nullptr);
    for (File* in : {&missing, &dropped}) {
        EXPECT_EQ(in->Read_all(), 0);
        ASSERT_GE(in->records.size(), 2u);
        EXPECT_EQ(in->records.end()[-2],
                  "VALIDITY_ERROR Validation failed: no DTD found !|" + uri + "no_dtd.xml 3|(null)|-|(null)");
        EXPECT_EQ(in->records.back().substr(0, 26), "ERROR Read error on input|");
    }
}

TEST(InputStream, ExpandReadsTheSubtree) {
    File in((data + "clean.xml").c_str());
    ASSERT_TRUE(Read_to(in, "grp") && in.Expand());
    xmlChar* text = xmlNodeGetContent(xmlTextReaderCurrentNode(in));
    EXPECT_EQ(Copy(text), "67");
    xmlFree(text);
    EXPECT_TRUE(in.Next_node() && xmlTextReaderDepth(in) == 2);  // into the expanded subtree

    // A subtree broken far beyond the reader's look-ahead.
    std::string doc = Prolog("log grp rec") + "\n<grp>\n";
    for (int i = 0; i < 5000; ++i) doc += "<rec>" + std::to_string(i) + "</rec>\n";
    doc += "<rec>x</grp></log>\n";
    Recording<Input_data> broken(Reader_for(doc));
    ASSERT_TRUE(Read_to(broken, "grp"));
    EXPECT_FALSE(broken.Expand());
    EXPECT_THAT(broken.messages, StartsWith("Opening and ending tag mismatch: rec line 5003 and grp"));
}

TEST(InputStream, LinesBeyond65535) {
    // Line n holds <rec>n</rec>; an undeclared element follows on line 70001.
    std::string text = "<!DOCTYPE log [\n<!ELEMENT log (rec*)>\n<!ELEMENT rec (#PCDATA)>\n]>\n<log>\n";
    for (int line = 6; line <= 70000; ++line) text += "<rec>" + std::to_string(line) + "</rec>\n";
    text += "<bogus>x</bogus>\n</log>\n";
    Recording<Input_data> in(Reader_for(text, "big"));
    ASSERT_TRUE(Read_to(in, "#text", "69000"));
    in.Error_handler("Bad item", XML_PARSER_SEVERITY_VALIDITY_ERROR, nullptr);
    in.Read_all();
    ASSERT_EQ(in.records.size(), 3u);
    EXPECT_THAT(in.records[0], EndsWith("|/log/rec[1]/text()|text@69000 69000|69000"));
    EXPECT_THAT(in.records[1],
                MatchesRegex("VALIDITY_ERROR No declaration for element bogus\n"
                             "\\|big 70001\\|/log/rec\\[1\\]\\|rec@6[6-9][0-9]{3} 5\\|6[6-9][0-9]{3}"));
}

// A document left unfinished makes libxml2 complain while the reader is
// freed; nobody can receive that record, so nothing is printed.
TEST(InputStream, NothingIsReportedWhileTheReaderIsFreed) {
    const std::string doc =
        "<!DOCTYPE log [<!ELEMENT log (rec)><!ELEMENT rec (a,b)><!ELEMENT a EMPTY><!ELEMENT b EMPTY>]>"
        "<log><rec><a/><b/></rec></log>";
    auto in = std::make_unique<Recording<Input_data>>(Reader_for(doc));
    ASSERT_TRUE(Read_to(*in, "a"));
    EXPECT_EQ(Output_of([&] { in.reset(); }).second, "");
}

}  // namespace
