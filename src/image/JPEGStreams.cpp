// JPEGStreams.cpp - the stream source, the stream destination and my_error_exit.
#include "image/JPEGStreams.h"

#include <jerror.h>

constexpr size_t kInputBufferSize = 4096;
constexpr size_t kOutputBufferSize = 4096;

namespace {

struct stream_source_mgr {
    struct jpeg_source_mgr pub;
    CFReadStreamRef stream;
    JOCTET* buffer;
    boolean start_of_file;
};

struct stream_destination_mgr {
    struct jpeg_destination_mgr pub;
    std::ostream* out;
    JOCTET* buffer;
};

} // namespace

void my_error_exit(j_common_ptr cinfo) {
    my_error_mgr* err = reinterpret_cast<my_error_mgr*>(cinfo->err);
    (*cinfo->err->output_message)(cinfo);
    longjmp(err->setjmp_buffer, 1);
}

static void init_source(j_decompress_ptr cinfo) {
    reinterpret_cast<stream_source_mgr*>(cinfo->src)->start_of_file = TRUE;
}

static boolean fill_input_buffer(j_decompress_ptr cinfo) {
    stream_source_mgr* src = reinterpret_cast<stream_source_mgr*>(cinfo->src);
    CFIndex n = CFReadStreamRead(src->stream, src->buffer, kInputBufferSize);
    // A read error ends the data like the end of the file does: its -1 must never become a
    // byte count.
    if (n <= 0) {
        if (src->start_of_file) ERREXIT(cinfo, JERR_INPUT_EMPTY);
        WARNMS(cinfo, JWRN_JPEG_EOF);
        src->buffer[0] = JOCTET(0xFF);
        src->buffer[1] = JOCTET(JPEG_EOI);
        n = 2;
    }
    src->pub.next_input_byte = src->buffer;
    src->pub.bytes_in_buffer = size_t(n);
    src->start_of_file = FALSE;
    return TRUE;
}

static void skip_input_data(j_decompress_ptr cinfo, long num_bytes) {
    if (num_bytes <= 0) return;
    struct jpeg_source_mgr* src = cinfo->src;
    while (num_bytes > long(src->bytes_in_buffer)) {
        num_bytes -= long(src->bytes_in_buffer);
        (void)(*src->fill_input_buffer)(cinfo);
    }
    src->next_input_byte += size_t(num_bytes);
    src->bytes_in_buffer -= size_t(num_bytes);
}

static void term_source(j_decompress_ptr) {}

void jpeg_stream_src(j_decompress_ptr cinfo, CFReadStreamRef stream) {
    if (!cinfo->src) {
        auto* src = static_cast<stream_source_mgr*>((*cinfo->mem->alloc_small)(
            j_common_ptr(cinfo), JPOOL_PERMANENT, sizeof(stream_source_mgr)));
        src->buffer = static_cast<JOCTET*>(
            (*cinfo->mem->alloc_small)(j_common_ptr(cinfo), JPOOL_PERMANENT, kInputBufferSize));
        cinfo->src = &src->pub;
    }
    stream_source_mgr* src = reinterpret_cast<stream_source_mgr*>(cinfo->src);
    src->pub.init_source = init_source;
    src->pub.fill_input_buffer = fill_input_buffer;
    src->pub.skip_input_data = skip_input_data;
    src->pub.resync_to_restart = jpeg_resync_to_restart;
    src->pub.term_source = term_source;
    src->stream = stream;
    src->pub.bytes_in_buffer = 0;
    src->pub.next_input_byte = nullptr;
}

static void init_destination(j_compress_ptr cinfo) {
    stream_destination_mgr* dest = reinterpret_cast<stream_destination_mgr*>(cinfo->dest);
    dest->buffer = static_cast<JOCTET*>(
        (*cinfo->mem->alloc_small)(j_common_ptr(cinfo), JPOOL_IMAGE, kOutputBufferSize));
    dest->pub.next_output_byte = dest->buffer;
    dest->pub.free_in_buffer = kOutputBufferSize;
}

static boolean empty_output_buffer(j_compress_ptr cinfo) {
    stream_destination_mgr* dest = reinterpret_cast<stream_destination_mgr*>(cinfo->dest);
    dest->out->write(reinterpret_cast<const char*>(dest->buffer),
                     std::streamsize(kOutputBufferSize));
    dest->pub.next_output_byte = dest->buffer;
    dest->pub.free_in_buffer = kOutputBufferSize;
    return TRUE;
}

static void term_destination(j_compress_ptr cinfo) {
    stream_destination_mgr* dest = reinterpret_cast<stream_destination_mgr*>(cinfo->dest);
    size_t count = kOutputBufferSize - dest->pub.free_in_buffer;
    if (count > 0)
        dest->out->write(reinterpret_cast<const char*>(dest->buffer), std::streamsize(count));
}

void jpeg_stream_dest(j_compress_ptr cinfo, std::ostream* out) {
    if (!cinfo->dest) {
        cinfo->dest = static_cast<struct jpeg_destination_mgr*>((*cinfo->mem->alloc_small)(
            j_common_ptr(cinfo), JPOOL_PERMANENT, sizeof(stream_destination_mgr)));
    }
    stream_destination_mgr* dest = reinterpret_cast<stream_destination_mgr*>(cinfo->dest);
    dest->pub.init_destination = init_destination;
    dest->pub.empty_output_buffer = empty_output_buffer;
    dest->pub.term_destination = term_destination;
    dest->out = out;
}
