// The parse engine driven over real documents: the calls that instances
// receive, error records and results with abort_on_error on and off, finalize
// hooks, traces and broken input.
#include "XML/Tessel.hpp"

#include <gmock/gmock.h>

#include "support/recording.hpp"

#include <algorithm>
#include <tuple>

using namespace Tessel;
using namespace Tessel_test;
using namespace testing;

namespace {

// What the probe instances were asked to do, each call followed by a space:
// "<name" at the start of an element, ">" at its end, "name=value" for an
// attribute, the number for an item of text, "F" for Finalize, "C" for Commit
// and "H1", "H2", ... for the finalize hooks.
std::string calls;

bool Log(const std::string& call) { return calls += call + " ", true; }

// A test element: reads decimal integers from its text and attributes, nests
// itself, takes the descriptors registered beneath it as children, logs every
// call, and attaches its descriptor's number of finalize hooks. Its name
// decides the rest: a badfin fails Finalize, a badcommit fails Commit, and a
// stuck one reads one item of its text, then accepts every further item
// without moving the scanner's cursor.
struct Probe_hook : Finalize_hook {
    explicit Probe_hook(int n) : number(n) {}
    void Hook() override { Log("H" + std::to_string(number)); }
    int number;
};

struct Probe : Instance_base {
    Probe(Input_data& input, const Info_base& of, int hooks) : Instance_base(input), info(of) {
        Log("<" + Copy(Name()));
        for (int i = 1; i <= hooks; ++i) (new Probe_hook(i))->Hook_to(this);
    }
    ~Probe() override { Log(">"); }

    Instance_base* Get_subinstance(const xmlChar* name) const override {
        if (const Info_base* sub = info.Find(name)) return sub->Get_instance(stream);
        return xmlStrEqual(name, Name()) ? info.Get_instance(stream) : nullptr;
    }
    bool Attribute(const xmlChar* name, Format::Scanner& value) override {
        long number;
        return value.Scan(number, decimal) && Log(Copy(name) + "=" + std::to_string(number));
    }
    bool Text(Format::Scanner& text) override {
        long item;
        if (Named("stuck") && items++) return true;
        return text.Scan(item, decimal) && Log(std::to_string(item));
    }
    bool Finalize() override { return Log("F") && !Named("badfin"); }
    bool Commit() override { return Log("C") && !Named("badcommit"); }
    const xmlChar* Name() const override { return info.Name(); }
    bool Named(const char* name) const { return xmlStrEqual(Name(), BAD_CAST name); }

    const Info_base& info;
    const Format::format_info decimal{"%d"};
    int items = 0;
};

struct Probe_info : Info_base {
    explicit Probe_info(const char* path, int hook_count = 0) : Info_base(path), hooks(hook_count) {}
    Instance_base* Get_instance(Input_data& input) const override { return new Probe(input, *this, hooks); }
    int hooks;
};

// Descriptors of walk.xml, errors.xml and hooks.xml, and a self-nesting element
// and a stuck one for generated documents.
const Info<void> walk("/walk"), walk_box("/walk/box"), errs("/errs");
const Probe_info walk_rec("/walk/rec"), box_rec("/walk/box/rec"), outer("/errs/outer"),
    mid("/errs/outer/mid"), mid_rec("/errs/outer/mid/rec"), errs_rec("/errs/rec"), fin("/fin"),
    hooked("/fin/hooked", 3), badfin("/fin/badfin"), badcommit("/fin/badcommit"), fin_ok("/fin/ok"),
    nest("/nest"), stuck("/stuck");

std::string Data(const char* name) { return std::string(TESSEL_TEST_DATA "/") + name; }

// One parse, traced, of a document file (an absolute path) or of a document
// given as text; with validate clear, without validation (no DTD needed).
// balanced: every started instance was deleted.
struct Parse {
    Parse(const std::string& document, bool abort_on_error, bool validate = true) {
        calls.clear();
        Recording<Input_data> input(
            document[0] == '/' ? xmlReaderForFile(document.c_str(), nullptr, Input_data::reader_options)
                               : Reader_for(document));
        if (!validate) xmlTextReaderSetParserProp(input, XML_PARSER_VALIDATE, 0);
        input.abort_on_error = abort_on_error;
        input.log_processing = true;
        trace = Output_of([&] { result = input.Process(); }).second;  // stdout: the "xml error" lines
        messages = input.messages;
        balanced = std::count(calls.begin(), calls.end(), '<') == std::count(calls.begin(), calls.end(), '>');
    }
    bool result, balanced;
    std::string trace, messages;
};

TEST(Parser, CallsRecordsAndResults) {
    // Without validation the first node is the outermost element itself, and
    // it belongs to the root instance.
    const std::string void_root = "<top a=\"1\">text<nest>1</nest><other/></top>";
    const std::string void_root_errors =
        "Error reading attrib \"a\"=\"1\" for : No attributes allowed for void|"
        "Bad TEXT/CDATA for : \"text\":No text allowed for void:0 items read|";
    const std::string walk = Data("parser/walk.xml"), errors = Data("parser/errors.xml"),
                      hooks = Data("parser/hooks.xml");
    // Document, abort_on_error, validate, result, one piece of the trace,
    // calls, messages.
    const std::tuple<std::string, bool, bool, bool, const char*, const char*, std::string> cases[] = {
        // Attributes, then each item of the text; comments and white space
        // cause no call. A self-closing element and one with an empty body
        // give the same calls; xmlns is never passed on. CDATA is read like
        // text. The outermost element is a void container: its attribute is
        // rejected, and the parse goes on.
        {walk, true, true, true, "attr version value 1\n",
         "<rec id=1 5 6 F C > <rec id=2 F C > <rec id=3 F C > <rec 7 8 F C > <rec F C > ",
         "Error reading attrib \"version\"=\"1\" for walk: No attributes allowed for void|"},
        // The unknown child's subtree is skipped without a call; mid is not
        // finalized, outer is. Of the next rec two items are read, the third
        // is rejected, the rest is ignored. A processing instruction spoils
        // its element.
        {errors, false, true, true, "node stray type ELEMENT path /errs/outer/mid/stray\nxmlTextReaderNext\n",
         "<outer <mid <rec 2 F C > > F C > <rec 1 2 > <rec 3 > <rec id=7 4 F C > ",
         "Bad TEXT/CDATA for rec: \" x 4\":Bad character 'x':2 items read|"
         "Unhandled node pi type PROCESSING_INSTRUCTION|"},
        // Aborting, the first error stops every open walk: nothing is finalized.
        {errors, true, true, false, "node stray type ELEMENT path /errs/outer/mid/stray\n",
         "<outer <mid > > ", "Bad subelement for mid: stray\n|"},
        // Hooks replace Commit; the failures of the children's own
        // finalization do not spoil fin. A failed Finalize on an empty element
        // stops the parse when aborting.
        {hooks, false, true, true, "node fin type END_ELEMENT path /fin\n",
         "<fin <hooked 1 F H1 H2 H3 > <badfin F > <badcommit 2 F C > <ok F C > F C > ", ""},
        {hooks, true, true, false, "node badfin type ELEMENT path /fin/badfin\n",
         "<fin <hooked 1 F H1 H2 H3 > <badfin F > > ", ""},
        {void_root, true, false, false,
         "attr a value 1\nxmlTextReaderRead\nnode #text type TEXT path /top/text()\n", "", void_root_errors},
        {void_root, false, false, true, "node other type ELEMENT path /top/other\nxmlTextReaderNext\n",
         "<nest 1 F C > ", void_root_errors},
        // An item read without progress is a text error, not an endless loop.
        {"<!DOCTYPE stuck [<!ELEMENT stuck (#PCDATA)>]><stuck>1 2</stuck>", true, true, false,
         "node #text type TEXT path /stuck/text()\n", "<stuck 1 > ",
         "Bad TEXT/CDATA for stuck: \" 2\":No progress reading text:1 items read|"}};
    for (const auto& [document, abort_on_error, validate, result, trace, made, messages] : cases) {
        SCOPED_TRACE(document.substr(0, 80) + (abort_on_error ? " aborting" : ""));
        const Parse parse(document, abort_on_error, validate);
        EXPECT_EQ(parse.result, result);
        EXPECT_EQ(calls, made);
        EXPECT_EQ(parse.messages, messages);
        EXPECT_NE(parse.trace.find(trace), std::string::npos) << parse.trace;
    }
}

const std::string errs_start = Prolog("errs rec", "<!ATTLIST rec id CDATA #IMPLIED>");

// With abort_on_error clear, what a child leaves unread after a read error is
// passed over: the parent never gets the child's text as its own, and the
// parse goes on with the next child. (The error must come after libxml2's
// first chunk, hence the leading records.)
TEST(Parser, LeftoversOfAFailedChildArePassedOver) {
    const Parse parse(errs_start + Repeated("<rec>1</rec>", 100) + "<rec>1<c/>2</rec><rec>3</rec></errs>",
                      false);
    EXPECT_TRUE(parse.result);  // validity errors do not fail the document
    EXPECT_THAT(parse.messages, StartsWith("No declaration for element c\n|Read error on input|"));
    EXPECT_THAT(parse.messages, Not(HasSubstr("for errs")));
    EXPECT_THAT(calls, EndsWith("<rec 1 > <rec 3 F C > "));
}

// Whatever libxml2 makes of a broken document, the records are there, every
// started instance is deleted and Process fails whatever abort_on_error says;
// when aborting, nothing is committed and the failed read is the last record.
// Broken are: files (with the first message each gives), nesting deeper than
// libxml2 allows (one walk frame per open element), an unknown entity, bytes
// that are not UTF-8, a text node larger than libxml2's limit, an external DTD
// that is not there, and a document cut short anywhere before the end of its
// last tag (which may have committed what came before the cut).
TEST(Parser, BrokenInputEndsInErrorRecordsAndFalse) {
    const std::string nest_dtd = "<!DOCTYPE nest [<!ELEMENT nest (#PCDATA|nest)*>]>\n";
    std::string whole = errs_start;
    for (int i = 0; i < 8; ++i)
        whole += "<rec id=\"" + std::to_string(i) + "\">" + std::to_string(i) + "</rec>";
    whole += "</errs>";
    std::vector<std::pair<std::string, std::string>> documents = {
        {Data("parser/malformed.xml"), "Opening and ending tag mismatch: rec line 7 and box\n|"},
        {Data("input/no_dtd.xml"), "Validation failed: no DTD found !|"},
        {Data("no_such_file.xml"), "Read error on input|"},
        {nest_dtd + Repeated("<nest>", 300) + "1", ""},
        {nest_dtd + "<nest>&nope;</nest>", ""},
        {nest_dtd + "<nest>caf\xE9 \xFF\xFE</nest>", ""},
        {nest_dtd + "<nest>" + std::string(11 << 20, 'x') + "</nest>", ""},
        {"<!DOCTYPE nest SYSTEM \"/nonexistent/nest.dtd\">\n<nest>1</nest>", ""}};
    for (size_t length = 0; length < whole.size(); ++length)
        documents.emplace_back(whole.substr(0, length), "");
    std::string wrong;  // the documents that gave a wrong result or left an instance behind
    for (size_t i = 0; i < documents.size(); ++i)
        for (bool abort : {true, false}) {
            const auto& [document, first] = documents[i];
            const Parse parse(document, abort);
            const std::string& messages = parse.messages;
            const bool strict = abort && i < 8;  // not a truncated document
            if (parse.result || !parse.balanced || messages.compare(0, first.size(), first) != 0 ||
                messages.empty() ||
                (strict && (!Matches(EndsWith("Read error on input|"))(messages) ||
                            calls.find("C ") != std::string::npos)))
                wrong += document.substr(0, 30) + "(" + std::to_string(document.size()) +
                         (abort ? " aborting) " : ") ");
        }
    EXPECT_EQ(wrong, "");
    EXPECT_TRUE(Parse(whole, true).result && Parse(whole, false).result);
}

}  // namespace
