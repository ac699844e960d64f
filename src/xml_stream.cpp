// The timed mutex, XML output files and log streams.
#include "XML/XML_stream.hpp"

#include "intrusive_chain.hpp"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>

namespace Tessel {

namespace {

// The holder fields are written by the holding thread and read by Show()
// without the lock, from any thread: relaxed atomic accesses keep that
// diagnostic read free of data races.
template <class T>
void Set(T& field, T value) {
    __atomic_store_n(&field, value, __ATOMIC_RELAXED);
}

template <class T>
T Get(const T& field) {
    return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

}  // namespace

Mutex::Mutex(const char* name_arg) : locker(0), name(name_arg), file(nullptr), line(0) {
    pthread_mutexattr_init(&attr);
    pthread_mutexattr_settype(&attr, PTHREAD_MUTEX_RECURSIVE);
    pthread_mutex_init(&mutex, &attr);
}

Mutex::~Mutex() { pthread_mutex_destroy(&mutex); }

void Mutex::Lock(const char* file_arg, unsigned int line_arg) {
    if (pthread_mutex_trylock(&mutex) != 0) Wait();
    Set(locker, pthread_self());
    Set(file, file_arg ? file_arg : "<Unknown>");
    Set(line, line_arg);
}

// The deadline is one second after the wait begins, on the clock that
// pthread_mutex_timedlock measures against.
void Mutex::Wait() {
    timespec deadline;
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += 1;
    int err = pthread_mutex_timedlock(&mutex, &deadline);
    if (err == ETIMEDOUT) {
        fflush(stdout);
        fprintf(stderr, "mutex tout, err %d %s\n", err, strerror(err));
        Show();
        pthread_mutex_lock(&mutex);
    }
}

void Mutex::Unlock() {
    Set(locker, pthread_t(0));
    Set(file, static_cast<const char*>(nullptr));
    Set(line, 0u);
    pthread_mutex_unlock(&mutex);
}

void Mutex::Show() const {
    fflush(stdout);
    const pthread_t holder = Get(locker);
    // A Lock or Unlock on another thread may change the fields between these
    // reads, so file can be null while holder is not.
    const char* const where = Get(file);
    if (holder)
        fprintf(stderr, "%s Locked %s:%u thread %lu\n", name, where ? where : "<Unknown>", Get(line),
                static_cast<unsigned long>(holder));
    else
        fprintf(stderr, "%s not locked\n", name);
}

// --- Output_file ---------------------------------------------------------------

Output_file::Output_file(const char* file_name, const char* root_name, const char* system_id,
                         const char* public_id)
    : Output_file(file_name) {
    Init(root_name, system_id, public_id);
}

// The file is opened once every member is built: a filter list that cannot
// be allocated leaves no descriptor open.
Output_file::Output_file(const char* file_name)
    : mutex(file_name),
      out_fd(-1),
      saveto(nullptr),
      Logging_doc(nullptr),
      root(nullptr),
      close_fd_on_exit(true),
      filters(4) {
    out_fd = open(file_name, O_WRONLY | O_CREAT | O_TRUNC | O_LARGEFILE, 0664);
}

Output_file::Output_file(int fd, bool close_fd, const char* root_name, const char* system_id,
                         const char* public_id)
    : Output_file(fd, close_fd) {
    Init(root_name, system_id, public_id);
}

Output_file::Output_file(int fd, bool close_fd)
    : mutex("output stream"),
      out_fd(fd),
      saveto(nullptr),
      Logging_doc(nullptr),
      root(nullptr),
      close_fd_on_exit(close_fd),
      filters(4) {}

Output_file::~Output_file() { Output_file::Finish(); }

void Output_file::Init(const char* root_name, const char* system_id, const char* public_id) {
    root = root_name;
    if (out_fd < 0) return;
    saveto = xmlSaveToIO(Write, Close, this, "UTF-8", XML_SAVE_FORMAT);
    if (!saveto) return;
    Logging_doc = xmlNewDoc(BAD_CAST "1.0");
    if (!Logging_doc) return;
    xmlCreateIntSubset(Logging_doc, BAD_CAST root, BAD_CAST public_id, BAD_CAST system_id);
    xmlSaveDoc(saveto, Logging_doc);
    xmlSaveFlush(saveto);
}

void Output_file::Write_node(xmlNodePtr& node) {
    Write_node_locked(node);
    xmlFreeNode(node);
}

void Output_file::Write_node_locked(xmlNodePtr node) {
    Mutex_locker lock(mutex, __FILE__, __LINE__);
    Write_node_core(node);
}

void Output_file::Write_node_core(xmlNodePtr node) {
    if (!OK() || !node) return;
    xmlNodePtr fragment = xmlNewDocFragment(Logging_doc);
    if (!fragment) return;
    xmlAddChild(fragment, node);
    xmlSaveTree(saveto, fragment);
    xmlSaveFlush(saveto);
    xmlUnlinkNode(node);
    xmlFreeNode(fragment);
}

void Output_file::Write_root_tag(const char* start) {
    Mutex_locker lock(mutex, __FILE__, __LINE__);
    if (!OK()) return;
    xmlSaveFlush(saveto);
    Write(start, static_cast<int>(strlen(start)));
    Write(root, static_cast<int>(strlen(root)));
    Write(">\n", 2);
}

// The save context is taken out of reach under the lock, then closed without
// it: libxml2 calls Close from there, and a stream's Close takes the stream
// list's lock, which must not be taken while holding a file's.
void Output_file::Finish() {
    xmlSaveCtxtPtr context;
    {
        Mutex_locker lock(mutex, __FILE__, __LINE__);
        context = saveto;
        saveto = nullptr;
    }
    if (context) xmlSaveClose(context);
    xmlFreeDoc(Logging_doc);
    Logging_doc = nullptr;
}

int Output_file::Write(const char* bytes, int length) {
    return static_cast<int>(write(out_fd, bytes, length));
}

int Output_file::Close() {
    Mutex_locker lock(mutex, __FILE__, __LINE__);
    const int fd = out_fd;
    out_fd = -1;
    return fd >= 0 && close_fd_on_exit ? close(fd) : 0;
}

// Once the file is closed its save context still flushes when it is freed:
// whatever it holds then is dropped, quietly.
int Output_file::Write(void* file, const char* bytes, int length) {
    Output_file& self = *static_cast<Output_file*>(file);
    return self.out_fd < 0 ? length : self.Write(bytes, length);
}

int Output_file::Close(void* file) { return static_cast<Output_file*>(file)->Close(); }

// --- Output_stream -------------------------------------------------------------

Output_stream* Output_stream::head = nullptr;

// Built on first use and never destroyed, so that streams that are statics of
// any translation unit can join and leave the list at any time.
Mutex& Output_stream::head_mutex() {
    static Mutex* const lock = new Mutex("Output stream list");
    return *lock;
}

Output_stream::Output_stream(const char* file_name, const char* root_name, const char* system_id,
                             const char* public_id)
    : Output_file(file_name, root_name, system_id, public_id), next(nullptr), prev(nullptr) {
    Write_root_tag("<");
    Monitor_logs(true);
}

Output_stream::Output_stream(int fd, bool close_fd, const char* root_name, const char* system_id,
                             const char* public_id)
    : Output_file(fd, close_fd, root_name, system_id, public_id), next(nullptr), prev(nullptr) {
    Write_root_tag("<");
    Monitor_logs(true);
}

Output_stream::~Output_stream() { Output_stream::Finish(); }

void Output_stream::Finish() {
    Monitor_logs(false);
    Write_root_tag("</");
    Output_file::Finish();
}

int Output_stream::Close() {
    Monitor_logs(false);
    return Output_file::Close();
}

void Output_stream::Monitor_logs(bool join) {
    Mutex_locker lock(head_mutex(), __FILE__, __LINE__);
    if (join)
        detail::Intrusive_chain::Link(*this, head);
    else
        detail::Intrusive_chain::Unlink(*this);
}

void Output_stream::Close_all() {
    Mutex_locker lock(head_mutex(), __FILE__, __LINE__);
    while (head) delete head;
}

void Output_stream::Log_flush(xmlNodePtr& node, const Filter& filter, unsigned int channel) {
    if (filters.Check(filter, channel)) Write_node_locked(node);
}

void Output_stream::Log_flush(xmlNodePtr& node, const Filter& filter) {
    if (filters.Check(filter)) Write_node_locked(node);
}

template <class... Channel>
void Output_stream::Fan_out(xmlNodePtr& node, const Filter& filter, Channel... channel) {
    if (!node) return;
    Mutex_locker lock(head_mutex(), __FILE__, __LINE__);
    for (Output_stream* stream = head; stream; stream = stream->next)
        stream->Log_flush(node, filter, channel...);
    xmlFreeNode(node);
    node = nullptr;
}

void Output_stream::Log_flush_all(xmlNodePtr& node, const Filter& filter, unsigned int channel) {
    Fan_out(node, filter, channel);
}

void Output_stream::Log_flush_all(xmlNodePtr& node, const Filter& filter) { Fan_out(node, filter); }

void XML_Log(xmlNodePtr& node, unsigned int channel, const unsigned long& filter) {
    Output_stream::Log_flush_all(node, filter, channel);
}

void XML_Log(xmlNodePtr& node, const unsigned long& filter) { Output_stream::Log_flush_all(node, filter); }

}  // namespace Tessel
