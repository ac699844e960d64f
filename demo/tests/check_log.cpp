// Checks a log file the demo wrote, with libxml2 alone:
//
//   demo_check_log LOG ROOT RECORD COUNT [--each CHILD] [--source DOCUMENT]
//
// LOG must be a well-formed document whose root element ROOT holds exactly
// COUNT elements, all named RECORD. With --each, every record has a CHILD
// element. With --source, every record carries a seq attribute of its own and
// is, as a tree (names, attributes, trimmed text, children in order), the
// record of DOCUMENT with that seq: what was read is what was logged.
#include <libxml/parser.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

namespace {

std::string Attribute(xmlNodePtr node, const xmlChar* name) {
    xmlChar* value = xmlGetProp(node, name);
    std::string text = value ? reinterpret_cast<const char*>(value) : "";
    xmlFree(value);
    return text;
}

std::map<std::string, std::string> Attributes(xmlNodePtr node) {
    std::map<std::string, std::string> all;
    for (xmlAttrPtr attr = node->properties; attr; attr = attr->next)
        all[reinterpret_cast<const char*>(attr->name)] = Attribute(node, attr->name);
    return all;
}

std::string Name(xmlNodePtr node) { return reinterpret_cast<const char*>(node->name); }

// The element's own text, white space removed at both ends.
std::string Text(xmlNodePtr node) {
    std::string text;
    for (xmlNodePtr child = node->children; child; child = child->next)
        if (child->type == XML_TEXT_NODE) text += reinterpret_cast<const char*>(child->content);
    const size_t first = text.find_first_not_of(" \t\n"), last = text.find_last_not_of(" \t\n");
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

xmlNodePtr Next_element(xmlNodePtr node) {
    while (node && node->type != XML_ELEMENT_NODE) node = node->next;
    return node;
}

bool Same_tree(xmlNodePtr a, xmlNodePtr b) {
    if (Name(a) != Name(b) || Text(a) != Text(b) || Attributes(a) != Attributes(b)) return false;
    xmlNodePtr x = Next_element(a->children), y = Next_element(b->children);
    for (; x && y; x = Next_element(x->next), y = Next_element(y->next))
        if (!Same_tree(x, y)) return false;
    return !x && !y;
}

int Fail(const char* log, const std::string& why) {
    std::fprintf(stderr, "%s: %s\n", log, why.c_str());
    return 1;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc < 5)
        return Fail("usage", "demo_check_log LOG ROOT RECORD COUNT [--each CHILD] [--source DOCUMENT]");
    const char *log = argv[1], *root = argv[2], *record = argv[3], *each = nullptr, *source = nullptr;
    for (int i = 5; i + 1 < argc; i += 2) (std::strcmp(argv[i], "--each") == 0 ? each : source) = argv[i + 1];

    xmlDocPtr doc = xmlReadFile(log, nullptr, XML_PARSE_NONET);
    if (!doc) return Fail(log, "not a well-formed XML document");
    xmlNodePtr top = xmlDocGetRootElement(doc);
    if (!top || Name(top) != root) return Fail(log, std::string("root element is not <") + root + ">");

    // The source's records by seq; the default attributes of its DTD applied.
    std::map<std::string, xmlNodePtr> by_seq;
    xmlDocPtr original = source ? xmlReadFile(source, nullptr, XML_PARSE_NONET | XML_PARSE_DTDATTR) : nullptr;
    if (source && !original) return Fail(source, "cannot be read");
    if (original)
        for (xmlNodePtr n = Next_element(xmlDocGetRootElement(original)->children); n;
             n = Next_element(n->next))
            by_seq[Attribute(n, BAD_CAST "seq")] = n;

    long count = 0;
    for (xmlNodePtr n = Next_element(top->children); n; n = Next_element(n->next), ++count) {
        const std::string where = "record " + std::to_string(count + 1) + " ";
        if (Name(n) != record) return Fail(log, where + "is a <" + Name(n) + ">");
        bool has_child = !each;
        for (xmlNodePtr c = Next_element(n->children); c && !has_child; c = Next_element(c->next))
            has_child = Name(c) == each;
        if (!has_child) return Fail(log, where + "has no <" + each + ">");
        if (!original) continue;
        const auto found = by_seq.find(Attribute(n, BAD_CAST "seq"));
        if (found == by_seq.end()) return Fail(log, where + "is not in the source, or logged twice");
        if (!Same_tree(n, found->second)) return Fail(log, where + "differs from the source's");
        by_seq.erase(found);
    }
    if (count != std::atol(argv[4])) return Fail(log, std::to_string(count) + " records, not " + argv[4]);
    std::printf("%s: %ld <%s> records\n", log, count, record);
    xmlFreeDoc(original);
    xmlFreeDoc(doc);
    return 0;
}
