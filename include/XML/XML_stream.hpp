/// \file
/// XML output files and log streams.
///
/// Example: every record to one log, alarms (category 0x2) to another, error
/// records of a parse to a third file:
///
/// \code
/// using namespace Tessel;
/// Output_stream* all = new Output_stream("all.xml", "log", "log.dtd", nullptr);
/// Output_stream* alarms = new Output_stream("alarms.xml", "log", "log.dtd", nullptr);
/// all->filters[0] = 0xFFFFFFFF;
/// alarms->filters[0] = 0x2;
///
/// xmlNodePtr node = XML_Write(reading);  // a described structure (XML_info.hpp)
/// XML_Log(node, 0x2);                    // written to both files, newest stream first; node is null now
///
/// Output_file errors("errors.xml", "errors", nullptr, nullptr);
/// errors.filters[0] = error_filter;      // 0x80000000, the category of the library's error records
/// Input_file input("plant.xml");
/// input.Associate_output(&errors);       // each error record is written there as an <Error>
/// input.Process();
///
/// Output_stream::Close_all();            // closing tags written, files closed, streams deleted
/// \endcode
///
/// An Output_file is an XML document written incrementally to a descriptor
/// through libxml2's save module, indented: the XML declaration and a
/// document type declaration named after the root element, then every element
/// tree handed to Write_node, each flushed at once. An Output_stream also writes
/// the root element's opening tag when built and its closing tag when
/// destroyed, and joins the list of log streams that XML_Log offers records to;
/// a stream writes a record when its channel filters admit the record's filter
/// value (XML_filters.hpp). A file that cannot be opened gives an object that
/// is not OK(): records handed to it are dropped without a word.
///
/// Threads. Any thread may log at any time. The stream list's lock is held for
/// a whole XML_Log fan-out, so records reach every stream in one order and a
/// stream cannot be closed while a record is being written; each file's own
/// lock is held while a tree is serialised into it. The list's lock is taken
/// before a file's lock and before the filter lists' lock; nothing is locked
/// while a file's lock is held. To change a stream's filter words while other
/// threads log, use filters.Set(channel, word), which is safe beside the
/// lookups of a fan-out; plain assignment through filters[channel] is not.
///
/// Closing. A descriptor is closed once at most, and never when it was given
/// with close_fd_on_exit false. Both ways of closing go through the virtual
/// Close(): Output_stream::Close(), called by the application, and the callback
/// libxml2 calls when the save context is closed at destruction. Close() forgets
/// the descriptor (OK() is false from then on, so a reused descriptor number is
/// never written to) and closes it only if the file owns it. Nothing is written
/// after that: a stream closed early gets no closing tag, and records offered to
/// it are dropped. A stream leaves the list once, at Close() or at destruction,
/// whichever comes first. An Output_file(file_name) never given Init keeps its
/// descriptor open, as there is no save context to close it through.
///
/// Sending the document elsewhere. Every byte goes through the virtual
/// Write(const char*, int). Virtual calls made while a base class is being
/// built or destroyed do not reach a derived class, so a class that overrides
/// Write or Close uses a constructor without Init, calls Init in its own
/// constructor, and calls Finish() in its own destructor:
///
/// \code
/// class Counted_file : public Output_file {
/// public:
///     explicit Counted_file(int fd) : Output_file(fd, false) { Init("log", nullptr, nullptr); }
///     ~Counted_file() override { Finish(); }
///     size_t bytes = 0;
/// protected:
///     int Write(const char* data, int length) override {
///         bytes += length;
///         return Output_file::Write(data, length);
///     }
/// };
/// \endcode
#ifndef TESSEL_XML_STREAM_HPP
#define TESSEL_XML_STREAM_HPP

#include "XML/XML_defines.hpp"
#include "XML/XML_filters.hpp"
#include "XML/XML_mutex.hpp"

#include <libxml/xmlsave.h>

namespace Tessel {

namespace detail {
struct Intrusive_chain;
}  // namespace detail

/// An XML document written incrementally to a descriptor; see the file's description.
class Output_file {
public:
    /// Opens file_name (created or truncated, mode 0664) and writes the
    /// declarations for root; either identifier may be null.
    Output_file(const char* file_name, const char* root, const char* system_id, const char* public_id);
    /// Opens file_name; nothing is written until Init.
    explicit Output_file(const char* file_name);
    /// Writes to fd, closed at destruction only if close_fd_on_exit.
    Output_file(int fd, bool close_fd_on_exit, const char* root, const char* system_id,
                const char* public_id);
    /// Writes to fd, closed at destruction only if close_fd_on_exit; nothing
    /// is written until Init.
    Output_file(int fd, bool close_fd_on_exit);
    Output_file(const Output_file&) = delete;
    Output_file& operator=(const Output_file&) = delete;
    virtual ~Output_file();

    /// Sets up the save context and the document, and writes the XML
    /// declaration and the document type declaration. Call it once.
    void Init(const char* root, const char* system_id, const char* public_id);
    /// True when the file is open and set up, and has not been closed.
    bool OK() const { return out_fd >= 0 && saveto && Logging_doc; }
    /// Serialises node under the file's lock and frees it; the caller's
    /// pointer is left as it was and must not be used again.
    void Write_node(xmlNodePtr& node);

protected:
    /// Serialises node (without locking, without freeing it) if the file is OK.
    void Write_node_core(xmlNodePtr node);
    /// The same under the file's lock.
    void Write_node_locked(xmlNodePtr node);
    /// Writes start, the root name and `">\n"` directly, if the file is OK.
    void Write_root_tag(const char* start);
    /// Flushes and closes the save context (closing the descriptor if owned) and
    /// frees the document; the destructor calls it, and so does the destructor
    /// of a class that overrides Write or Close. A second call does nothing.
    virtual void Finish();
    /// Sends length bytes of the document on their way: by default, write(2)
    /// to the descriptor. Returns the number of bytes taken, or -1.
    virtual int Write(const char* bytes, int length);
    /// Forgets the descriptor, closing it if the file owns it.
    virtual int Close();

private:
    static int Write(void* file, const char* bytes, int length);
    static int Close(void* file);

    Mutex mutex;
    int out_fd;
    xmlSaveCtxtPtr saveto;
    xmlDocPtr Logging_doc;
    const char* root;
    bool close_fd_on_exit;

public:
    /// The channel filters that admit records: error records (error_filter),
    /// and for a stream, what XML_Log offers.
    FilterList filters;
};

/// A log stream: an Output_file inside a root element, in the list of streams
/// that XML_Log offers records to; see the file's description.
class Output_stream : public Output_file {
public:
    /// The root name must not be null.
    Output_stream(const char* file_name, const char* root, const char* system_id, const char* public_id);
    /// Writes to fd, closed at destruction only if close_fd_on_exit.
    Output_stream(int fd, bool close_fd_on_exit, const char* root, const char* system_id,
                  const char* public_id);
    ~Output_stream() override;

    /// Leaves the list of streams, then closes the file; no closing tag.
    int Close() override;
    /// Deletes every stream still in the list, newest first; streams that may
    /// be in the list then must have been created with new.
    static void Close_all();

    /// Writes node (without freeing it) if the filters admit filter on channel.
    void Log_flush(xmlNodePtr& node, const Filter& filter, unsigned int channel);
    /// Writes node (without freeing it) if the filters admit filter on any channel.
    void Log_flush(xmlNodePtr& node, const Filter& filter);
    ///@{
    /// Offers node to every stream, newest first, then frees it and nulls the
    /// pointer. A null pointer does nothing.
    static void Log_flush_all(xmlNodePtr& node, const Filter& filter, unsigned int channel);
    static void Log_flush_all(xmlNodePtr& node, const Filter& filter);
    ///@}

protected:
    /// Leaves the list, writes the closing tag unless closed, then finishes the file.
    void Finish() override;

private:
    friend struct detail::Intrusive_chain;

    void Monitor_logs(bool join);
    template <class... Channel>
    static void Fan_out(xmlNodePtr& node, const Filter& filter, Channel... channel);

    Output_stream* next;
    Output_stream** prev;

    static Output_stream* head;
    static Mutex& head_mutex();
};

/// Offers node to every log stream with a filter value on one channel (see
/// Output_stream::Log_flush_all); node is freed and nulled.
void XML_Log(xmlNodePtr& node, unsigned int channel, const unsigned long& filter);
/// The same on any channel.
void XML_Log(xmlNodePtr& node, const unsigned long& filter);

}  // namespace Tessel

#endif
