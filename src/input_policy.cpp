// The input policy: one external entity loader for every input source, which
// refuses what a source's policy does not allow, and the count of the bytes
// entity expansion adds to a source.
#include "XML/XML_input_stream.hpp"

#include <libxml/SAX2.h>
#include <libxml/parserInternals.h>
#include <libxml/uri.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <string>
#include <unordered_map>

namespace Tessel {

namespace {

// The sources being read, by reader. libxml2 gives the loader and the entity
// lookup a parser context whose _private is the reader it belongs to (an
// external entity's own context inherits it), and that pointer is only ever
// compared: a context that is not a Tessel source's finds nothing.
struct Sources {
    std::mutex lock;
    std::unordered_map<const void*, Input_data*> by_reader;
    xmlExternalEntityLoader next = nullptr;
};

Sources& sources() {
    static Sources* const all = new Sources;  // outlives every static source
    return *all;
}

// Set while Open reads its one-line document: the loader records the
// parser context of the request instead of loading anything.
thread_local xmlParserCtxtPtr* capturing = nullptr;

const char bootstrap[] = "<!DOCTYPE d SYSTEM \"tessel:parser\"><d/>";

// True for a URI with a scheme other than file: (RFC 3986: a letter, then
// letters, digits, '+', '-' or '.', then ':'); a path has none.
bool Names_network(const char* url) {
    if (!isalpha(static_cast<unsigned char>(url[0]))) return false;
    size_t length = 1;
    while (isalnum(static_cast<unsigned char>(url[length])) ||
           (url[length] != '\0' && strchr("+-.", url[length]) != nullptr))
        ++length;
    return url[length] == ':' && !(length == 4 && strncasecmp(url, "file", 4) == 0);
}

// The local path libxml2 opens for a file URI or a plain path.
const char* Local_path(const char* url) {
    if (strncasecmp(url, "file://localhost/", 17) == 0) return url + 16;
    if (strncasecmp(url, "file:///", 8) == 0) return url + 7;
    if (strncasecmp(url, "file:/", 6) == 0) return url + 5;
    return url;
}

// A string malloc'd by the C library or by libxml2, freed with its own function.
using C_string = std::unique_ptr<char, void (*)(void*)>;

// path with links and ".." resolved, or "" when it does not resolve.
std::string Canonical(const char* path) {
    const C_string resolved(realpath(path, nullptr), free);
    return resolved ? std::string(resolved.get()) : std::string();
}

bool Within(const std::string& path, const std::string& directory) {
    if (directory.empty() || path.compare(0, directory.size(), directory) != 0) return false;
    return directory.back() == '/' || path[directory.size()] == '/';
}

// The bytes an internal entity's replacement text becomes once the entities
// it references are expanded in turn. It is kept in the entity's _private, plus
// one so that 0 means not yet known; a reference loop (which libxml2 reports)
// and nesting deeper than libxml2 expands count nothing.
size_t Expanded_size(xmlEntityPtr entity, int depth = 0) {
    if (entity == nullptr || entity->etype != XML_INTERNAL_GENERAL_ENTITY || depth > 64) return 0;
    const uintptr_t known = reinterpret_cast<uintptr_t>(entity->_private);
    if (known != 0) return known == UINTPTR_MAX ? 0 : known - 1;
    entity->_private = reinterpret_cast<void*>(UINTPTR_MAX);
    size_t size = 0;
    for (const xmlChar* at = entity->content; at != nullptr && *at != '\0';) {
        const xmlChar* end = *at == '&' ? xmlStrchr(at, ';') : nullptr;
        if (end == nullptr) {
            ++size, ++at;
            continue;
        }
        const std::string name(reinterpret_cast<const char*>(at) + 1, end - at - 1);
        if (xmlGetPredefinedEntity(BAD_CAST name.c_str()) != nullptr)
            ++size;
        else
            size += Expanded_size(xmlGetDocEntity(entity->doc, BAD_CAST name.c_str()), depth + 1);
        at = end + 1;
    }
    entity->_private = reinterpret_cast<void*>(static_cast<uintptr_t>(size) + 1);
    return size;
}

}  // namespace

void Input_data::Serve() {
    Sources& all = sources();
    std::lock_guard<std::mutex> hold(all.lock);
    if (xmlGetExternalEntityLoader() != Entity_loader_entry) {
        all.next = xmlGetExternalEntityLoader();
        xmlSetExternalEntityLoader(Entity_loader_entry);
    }
    all.by_reader[reader] = this;
}

void Input_data::Stop_serving() {
    Sources& all = sources();
    std::lock_guard<std::mutex> hold(all.lock);
    all.by_reader.erase(reader);
}

Input_data* Input_data::Serving(xmlParserCtxtPtr ctxt, xmlExternalEntityLoader* next) {
    Sources& all = sources();
    std::lock_guard<std::mutex> hold(all.lock);
    if (next != nullptr) *next = all.next;
    if (ctxt == nullptr) return nullptr;
    auto found = all.by_reader.find(ctxt->_private);
    return found != all.by_reader.end() ? found->second : nullptr;
}

// libxml2's reader keeps its parser context to itself, yet the expansion
// budget needs it. A reader reset onto new input keeps its context, so the
// reader is first made for a one-line document whose DTD request hands the
// context to the loader, then reset onto fd. Leaves reader null on failure.
void Input_data::Open(int fd, const char* name) {
    reader = xmlReaderForMemory(bootstrap, sizeof bootstrap - 1, nullptr, nullptr,
                                XML_PARSE_DTDLOAD | XML_PARSE_NONET);
    if (reader == nullptr) return;
    Serve();
    capturing = &parser;
    xmlTextReaderRead(reader);
    capturing = nullptr;
    if (xmlReaderNewFd(reader, fd, name, nullptr, reader_options) == 0) return;
    Stop_serving();
    xmlFreeTextReader(reader);
    reader = nullptr;
    parser = nullptr;
}

xmlParserInputPtr Input_data::Entity_loader_entry(const char* url, const char* id, xmlParserCtxtPtr ctxt) {
    if (capturing != nullptr) {
        *capturing = ctxt;
        return xmlNewStringInputStream(ctxt, BAD_CAST "");
    }
    xmlExternalEntityLoader next;
    Input_data* source = Serving(ctxt, &next);
    if (source == nullptr) return next(url, id, ctxt);
    try {
        return source->Load_external(url, id, ctxt, next);
    } catch (...) {
        source->Hold_exception();
        return nullptr;
    }
}

xmlParserInputPtr Input_data::Load_external(const char* url, const char* id, xmlParserCtxtPtr ctxt,
                                            xmlExternalEntityLoader next) {
    if (url == nullptr) return Refuse("External entity refused: ", "(null)");
    std::string path;  // the resolved file, when only an allowed directory admits it
    const bool network = Names_network(url);
    if (network ? !policy.allow_network
                : !(Is_document_dtd(ctxt) || policy.allow_external || Allowed_file(url, path)))
        return Refuse("External entity refused: ", url);

    // XML_PARSE_NONET makes libxml2's loader refuse the network; a policy that
    // allows it lifts the option for this one request.
    const int options = ctxt->options;
    if (network) ctxt->options &= ~XML_PARSE_NONET;
    xmlParserInputPtr loaded = next(path.empty() ? url : path.c_str(), id, ctxt);
    ctxt->options = options;
    // libxml2 reports a failed load on the reader's own context (the DTD, a
    // parameter entity); an external entity gets a fresh context, with no
    // input yet, whose reports reach nobody.
    if (loaded == nullptr && ctxt->inputNr == 0) Refuse("External entity failed to load: ", url);
    return loaded;
}

// The DOCTYPE's system identifier is requested while the reader's context
// reads the external subset (inSubset 2), before anything else is requested
// there: parameter entities in the internal subset come with inSubset 1, those
// in the external subset after the DTD itself.
bool Input_data::Is_document_dtd(xmlParserCtxtPtr ctxt) {
    if (dtd_loaded || ctxt->inSubset != 2) return false;
    dtd_loaded = true;
    return true;
}

// True when the file url names lies in an allowed directory; path is then the
// file with links and ".." resolved, which is what gets opened. A file that
// does not exist is judged by its directory, so that a refusal does not tell
// whether a file outside the allowed directories exists.
bool Input_data::Allowed_file(const char* url, std::string& path) const {
    if (policy.allowed_directories.empty()) return false;
    const char* local = Local_path(url);
    const C_string unescaped(xmlURIUnescapeString(local, 0, nullptr), xmlFree);
    path = Canonical(local);
    if (path.empty() && unescaped) path = Canonical(unescaped.get());
    std::string judged = path;
    if (judged.empty()) {
        std::string directory(local);
        directory.erase(directory.find_last_of('/') + 1);
        judged = Canonical(directory.empty() ? "." : directory.c_str()) + "/";
        path = local;
    }
    for (const std::string& allowed : policy.allowed_directories)
        if (Within(judged, Canonical(allowed.c_str()))) return true;
    path.clear();
    return false;
}

xmlParserInputPtr Input_data::Refuse(const char* what, const char* url) {
    malformed = true;
    std::string msg = std::string(what) + url;
    Report(msg.c_str(), XML_PARSER_SEVERITY_ERROR, nullptr, true);
    return nullptr;
}

// Every reference the document itself makes (at depth 0: libxml2 raises the
// depth while it expands an entity's text, in content the first time and in
// attribute values every time) adds the entity's expanded size; past the
// budget the parse is stopped and the lookup fails.
xmlEntityPtr Input_data::Get_entity_entry(void* ctx, const xmlChar* name) {
    xmlEntityPtr entity = xmlSAX2GetEntity(ctx, name);
    xmlParserCtxtPtr ctxt = static_cast<xmlParserCtxtPtr>(ctx);
    if (entity == nullptr || entity->etype != XML_INTERNAL_GENERAL_ENTITY || ctxt->depth > 0) return entity;
    Input_data* source = Serving(ctxt, nullptr);
    if (source == nullptr) return entity;
    try {
        return source->Within_budget(ctxt, Expanded_size(entity)) ? entity : nullptr;
    } catch (...) {
        source->Hold_exception();
        return nullptr;
    }
}

bool Input_data::Within_budget(xmlParserCtxtPtr ctxt, size_t added) {
    if (stopped) return false;
    expansion += added;
    if (expansion <= policy.expansion_budget) return true;
    const long consumed = xmlTextReaderByteConsumed(reader);
    if (consumed > 0 && expansion / static_cast<size_t>(consumed) < policy.expansion_ratio) return true;
    stopped = malformed = true;
    char msg[120];
    snprintf(msg, sizeof msg, "Entity expansion budget exceeded: %zu bytes added to %ld bytes of input",
             expansion, consumed);
    Report(msg, XML_PARSER_SEVERITY_ERROR, nullptr, true);
    xmlStopParser(parser);
    if (ctxt != parser) xmlStopParser(ctxt);
    return false;
}

}  // namespace Tessel
