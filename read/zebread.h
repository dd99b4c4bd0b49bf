/* SPDX-License-Identifier: Apache-2.0 */
/*
 * libzebread: what message brokers measure, read from the shared memory of this machine.
 *
 *   zebread_reader* reader;
 *   zebread_snapshot* snapshot;
 *   if (zebread_open(&reader) != ZEBREAD_OK) ...
 *   if (zebread_look(reader, &snapshot) != ZEBREAD_OK) puts(zebread_error_text(reader));
 *   ... zebread_snapshot_broker(snapshot, 0) ...
 *   zebread_snapshot_free(snapshot);
 *   zebread_close(reader);
 *
 * Looking takes no lock, writes nothing, makes no file and no System V object, and never makes a
 * broker wait. Nothing in shared memory is believed: what can't be read is told as such.
 *
 * Who owns what. The caller owns a reader from open to close, and a snapshot until it is freed. All
 * else, every handle and every text, belongs to the snapshot that it came from and lives as long. A
 * snapshot doesn't need its reader.
 *
 * Threads. A snapshot never changes: any number of threads may ask it. A reader is for one thread
 * at a time; different readers have nothing in common. There is no global state. Nothing is
 * printed, no signal is touched, no thread and no process is started.
 *
 * Null. A null handle is answered with 0, NULL or ZEBREAD_INVALID, and releasing it does nothing.
 * An index behind the last one gives NULL. A text is NULL when it is not known.
 *
 * Values. 0 is a measured 0. What there is not is ZEBREAD_ABSENT and what can't be read is
 * ZEBREAD_UNREADABLE; the place for the value is left as it was then. Any number may be what
 * somebody wrote there, negative ones included.
 *
 * Texts are UTF-8. They may hold whatever somebody named so, control characters included: pass them
 * through zebread_printable() before a terminal, a page or a log gets them. Paths of key files are
 * bytes, as the file system has them.
 *
 * Times are seconds since 1970, UTC, unless the name says milliseconds (ms).
 *
 * The interface only grows while the library is libzebread.so.1: functions and constants come, none
 * changes or goes. So be prepared for states, kinds and types that you don't know.
 */
#ifndef ZEBREAD_H
#define ZEBREAD_H

#include <stddef.h>
#include <stdint.h>
#include <zebread_version.h>

#if defined(__GNUC__)
#define ZEBREAD_API __attribute__((visibility("default")))
#else
#define ZEBREAD_API
#endif

#ifdef __cplusplus
#define ZEBREAD_NOEXCEPT noexcept
extern "C" {
#else
#define ZEBREAD_NOEXCEPT
#endif

/* One number for a version, to compare by: 10203 for 1.2.3. */
#define ZEBREAD_VERSION \
  (ZEBREAD_VERSION_MAJOR * 10000 + ZEBREAD_VERSION_MINOR * 100 + ZEBREAD_VERSION_PATCH)

/* The same of the library that the program runs with. */
ZEBREAD_API int zebread_version(void) ZEBREAD_NOEXCEPT;

/* For people: version, commit, and the number of the stored format. */
ZEBREAD_API const char* zebread_version_text(void) ZEBREAD_NOEXCEPT;

typedef enum zebread_status {
  ZEBREAD_OK = 0,
  ZEBREAD_ABSENT = 1,     /* there is no such value */
  ZEBREAD_UNREADABLE = 2, /* there is one, but it is damaged */
  ZEBREAD_INVALID = 3,    /* an argument is null or means nothing */
  ZEBREAD_DIRECTORY = 4,  /* the directory of the key files can't be read */
  ZEBREAD_NO_MEMORY = 5,  /* the process has no more memory; what was there stays usable */
  ZEBREAD_FAILED = 6      /* anything else, which the reader's sentence tells */
} zebread_status;

/* What a status means, for people. Never NULL. */
ZEBREAD_API const char* zebread_status_text(zebread_status status) ZEBREAD_NOEXCEPT;

typedef struct zebread_reader zebread_reader;     /* looks, and knows which events it told */
typedef struct zebread_snapshot zebread_snapshot; /* what one look saw */
typedef struct zebread_broker zebread_broker;
typedef struct zebread_area zebread_area;     /* a part of a broker's shared memory */
typedef struct zebread_damage zebread_damage; /* a place that can't be read */
typedef struct zebread_group zebread_group;   /* an execution group: one process */
typedef struct zebread_flow zebread_flow;     /* a message flow */
typedef struct zebread_node zebread_node;
typedef struct zebread_event zebread_event; /* what a node posted */

/* --- Readers --- */

/* Makes a reader that looks at all brokers, in the directory that the library's settings on this
 * machine name, without their events. */
ZEBREAD_API zebread_status zebread_open(zebread_reader** reader) ZEBREAD_NOEXCEPT;
ZEBREAD_API void zebread_close(zebread_reader* reader) ZEBREAD_NOEXCEPT;

/* What to look at. Each is ZEBREAD_INVALID after the first look. */

/* Where the key files are. NULL or "": as the settings say. */
ZEBREAD_API zebread_status zebread_set_directory(zebread_reader* reader,
                                                 const char* directory) ZEBREAD_NOEXCEPT;

/* Snapshots hold only brokers whose label or uuid this is; a "*" in it stands for any bytes. NULL
 * or
 * "": all. */
ZEBREAD_API zebread_status zebread_set_broker(zebread_reader* reader,
                                              const char* pattern) ZEBREAD_NOEXCEPT;

/* Of one broker at most so many bytes of shared memory are looked at; zebread_area_uncopied_bytes()
 * tells what was left out. 64 MiB unless set. At least 1. */
ZEBREAD_API zebread_status zebread_set_max_bytes(zebread_reader* reader,
                                                 uint64_t bytes) ZEBREAD_NOEXCEPT;

/* Whether snapshots hold events: 0 no, else yes. */
ZEBREAD_API zebread_status zebread_set_events(zebread_reader* reader, int wanted) ZEBREAD_NOEXCEPT;

/* Looks at the machine once. On ZEBREAD_OK the caller owns *snapshot, else it is NULL. No broker at
 * all is ZEBREAD_OK too. A snapshot takes about as much memory as the brokers' segments. */
ZEBREAD_API zebread_status zebread_look(zebread_reader* reader,
                                        zebread_snapshot** snapshot) ZEBREAD_NOEXCEPT;

/* How far events were told, as a text without line ends that another process may go on from. It
 * belongs to the reader and lives until its next call of this. NULL without memory. */
ZEBREAD_API const char* zebread_cursor(zebread_reader* reader) ZEBREAD_NOEXCEPT;

/* Before the first look: events up to that cursor are not told again. ZEBREAD_INVALID, and nothing
 * changes, when the text is no cursor. */
ZEBREAD_API zebread_status zebread_resume(zebread_reader* reader,
                                          const char* cursor) ZEBREAD_NOEXCEPT;

/* How the last function failed that was given this reader, and the sentence for people, which lives
 * until the next one fails. ZEBREAD_OK and "" while none has. */
ZEBREAD_API zebread_status zebread_error(const zebread_reader* reader) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_error_text(const zebread_reader* reader) ZEBREAD_NOEXCEPT;

/* --- Snapshots --- */

ZEBREAD_API void zebread_snapshot_free(zebread_snapshot* snapshot) ZEBREAD_NOEXCEPT;

/* When the look began, in milliseconds: since 1970 by the clock on the wall, which may be set, and
 * since some moment by one that never jumps. For "a second" between two looks take the second one.
 */
ZEBREAD_API int64_t zebread_snapshot_wall_ms(const zebread_snapshot* snapshot) ZEBREAD_NOEXCEPT;
ZEBREAD_API int64_t zebread_snapshot_steady_ms(const zebread_snapshot* snapshot) ZEBREAD_NOEXCEPT;

/* Where key files were looked for. Ends in "/". */
ZEBREAD_API const char* zebread_snapshot_directory(const zebread_snapshot* snapshot)
    ZEBREAD_NOEXCEPT;

/* In the order of their key files. */
ZEBREAD_API size_t zebread_snapshot_broker_count(const zebread_snapshot* snapshot) ZEBREAD_NOEXCEPT;
ZEBREAD_API const zebread_broker* zebread_snapshot_broker(const zebread_snapshot* snapshot,
                                                          size_t index) ZEBREAD_NOEXCEPT;

/* --- Brokers --- */

/* NULL while its record is missing: no node has been deployed, or it can't be read. */
ZEBREAD_API const char* zebread_broker_label(const zebread_broker* broker) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_broker_uuid(const zebread_broker* broker) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_broker_key_file(const zebread_broker* broker) ZEBREAD_NOEXCEPT;

/* What is wrong first. */
typedef enum zebread_state {
  ZEBREAD_STATE_OK = 0,
  ZEBREAD_STATE_NO_KEY_FILE = 1,     /* it went while it was looked at */
  ZEBREAD_STATE_NO_SEGMENT = 2,      /* a key file without shared memory */
  ZEBREAD_STATE_NO_PERMISSION = 3,   /* it belongs to others */
  ZEBREAD_STATE_NOT_INITIALISED = 4, /* just starting, or its creator died while it started */
  ZEBREAD_STATE_DAMAGED = 5,         /* in some places; everything readable is there */
  ZEBREAD_STATE_FAILED = 6,          /* the system refused for another reason */
  ZEBREAD_STATE_NO_PROCESS = 7,      /* nobody has the memory attached: figures are the last ones */
  ZEBREAD_STATE_STOPPED = 8,         /* a process of it is stopped, so messages wait */
  ZEBREAD_STATE_FULL = 9             /* no room for the figures of one more node */
} zebread_state;

/* The state's name is for programs: "ok", "noSegment" and so on. Its sentence is for people: what
 * is wrong and what to do, printable; NULL when the state is OK. */
ZEBREAD_API zebread_state zebread_broker_state(const zebread_broker* broker) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_broker_state_name(const zebread_broker* broker) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_broker_problem(const zebread_broker* broker) ZEBREAD_NOEXCEPT;

/* When all its figures went back to 0. Sums, minima and maxima are since then. */
ZEBREAD_API zebread_status zebread_broker_reset_time(const zebread_broker* broker,
                                                     int64_t* seconds) ZEBREAD_NOEXCEPT;

/* Its shared memory; ZEBREAD_ABSENT when none was read. The id is that of ipcs and ipcrm; attached
 * is how many other attachments there are. */
ZEBREAD_API zebread_status zebread_broker_segment_id(const zebread_broker* broker,
                                                     int64_t* id) ZEBREAD_NOEXCEPT;
ZEBREAD_API zebread_status zebread_broker_segment_bytes(const zebread_broker* broker,
                                                        int64_t* bytes) ZEBREAD_NOEXCEPT;
ZEBREAD_API zebread_status zebread_broker_attached(const zebread_broker* broker,
                                                   int64_t* count) ZEBREAD_NOEXCEPT;

/* The group whose members may read it, by name or number. NULL when not known. */
ZEBREAD_API const char* zebread_broker_reading_group(const zebread_broker* broker) ZEBREAD_NOEXCEPT;

ZEBREAD_API size_t zebread_broker_area_count(const zebread_broker* broker) ZEBREAD_NOEXCEPT;
ZEBREAD_API const zebread_area* zebread_broker_area(const zebread_broker* broker,
                                                    size_t index) ZEBREAD_NOEXCEPT;

/* At most the first hundred places. */
ZEBREAD_API size_t zebread_broker_damage_count(const zebread_broker* broker) ZEBREAD_NOEXCEPT;
ZEBREAD_API const zebread_damage* zebread_broker_damage(const zebread_broker* broker,
                                                        size_t index) ZEBREAD_NOEXCEPT;

/* By their labels. */
ZEBREAD_API size_t zebread_broker_group_count(const zebread_broker* broker) ZEBREAD_NOEXCEPT;
ZEBREAD_API const zebread_group* zebread_broker_group(const zebread_broker* broker,
                                                      size_t index) ZEBREAD_NOEXCEPT;

/* Events that this reader has not told before, the oldest first. */
ZEBREAD_API size_t zebread_broker_event_count(const zebread_broker* broker) ZEBREAD_NOEXCEPT;
ZEBREAD_API const zebread_event* zebread_broker_event(const zebread_broker* broker,
                                                      size_t index) ZEBREAD_NOEXCEPT;

/* At least so many events were overwritten before they could be told. ZEBREAD_ABSENT when nobody
 * asked for events, or there was no memory to read. */
ZEBREAD_API zebread_status zebread_broker_missed_events(const zebread_broker* broker,
                                                        int64_t* least) ZEBREAD_NOEXCEPT;

/* --- Areas and damage --- */

/* "statistics", "eventTemplates", "eventData". */
ZEBREAD_API const char* zebread_area_name(const zebread_area* area) ZEBREAD_NOEXCEPT;

/* Of the whole area; ever used of it; used, but above the bytes that are looked at. */
ZEBREAD_API int64_t zebread_area_size_bytes(const zebread_area* area) ZEBREAD_NOEXCEPT;
ZEBREAD_API int64_t zebread_area_used_bytes(const zebread_area* area) ZEBREAD_NOEXCEPT;
ZEBREAD_API int64_t zebread_area_uncopied_bytes(const zebread_area* area) ZEBREAD_NOEXCEPT;

/* Not 0: it has begun again from its start, so it is as full as it gets. */
ZEBREAD_API int zebread_area_wrapped(const zebread_area* area) ZEBREAD_NOEXCEPT;

/* The area, or "segment"; the bytes from its start; a sentence on what is wrong there. */
ZEBREAD_API const char* zebread_damage_area(const zebread_damage* damage) ZEBREAD_NOEXCEPT;
ZEBREAD_API int64_t zebread_damage_offset(const zebread_damage* damage) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_damage_reason(const zebread_damage* damage) ZEBREAD_NOEXCEPT;

/* --- Execution groups, message flows, nodes --- */

/* What names a record in shared memory, in its stored bytes: see zebread_hex(). */
#define ZEBREAD_RECORD_ID_BYTES 16

ZEBREAD_API const char* zebread_group_label(const zebread_group* group) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_group_uuid(const zebread_group* group) ZEBREAD_NOEXCEPT;
ZEBREAD_API int32_t zebread_group_process_id(const zebread_group* group)
    ZEBREAD_NOEXCEPT; /* 0: not known */
ZEBREAD_API int zebread_group_deleted(const zebread_group* group) ZEBREAD_NOEXCEPT;
ZEBREAD_API void zebread_group_record_id(const zebread_group* group,
                                         uint8_t id[ZEBREAD_RECORD_ID_BYTES]) ZEBREAD_NOEXCEPT;
ZEBREAD_API size_t zebread_group_flow_count(const zebread_group* group) ZEBREAD_NOEXCEPT;
ZEBREAD_API const zebread_flow* zebread_group_flow(const zebread_group* group,
                                                   size_t index) ZEBREAD_NOEXCEPT;

/* By their labels. */
ZEBREAD_API const char* zebread_flow_label(const zebread_flow* flow) ZEBREAD_NOEXCEPT;
ZEBREAD_API int zebread_flow_deleted(const zebread_flow* flow) ZEBREAD_NOEXCEPT;
ZEBREAD_API void zebread_flow_record_id(const zebread_flow* flow,
                                        uint8_t id[ZEBREAD_RECORD_ID_BYTES]) ZEBREAD_NOEXCEPT;
ZEBREAD_API size_t zebread_flow_node_count(const zebread_flow* flow) ZEBREAD_NOEXCEPT;
ZEBREAD_API const zebread_node* zebread_flow_node(const zebread_flow* flow,
                                                  size_t index) ZEBREAD_NOEXCEPT;

/* In the order of their deployment. */
ZEBREAD_API const char* zebread_node_label(const zebread_node* node) ZEBREAD_NOEXCEPT;

/* The stored code: 1 input, 2 output, 3 other, 4 input and 5 output of a sub-flow. The name is one
 * of "input", "output", "other", "subFlowInput", "subFlowOutput", "unknown". */
ZEBREAD_API uint32_t zebread_node_type(const zebread_node* node) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_node_type_name(const zebread_node* node) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_node_sub_flow(const zebread_node* node) ZEBREAD_NOEXCEPT;

/* Not 0: the node is no longer deployed; its figures stay. */
ZEBREAD_API int zebread_node_deleted(const zebread_node* node) ZEBREAD_NOEXCEPT;
ZEBREAD_API void zebread_node_record_id(const zebread_node* node,
                                        uint8_t id[ZEBREAD_RECORD_ID_BYTES]) ZEBREAD_NOEXCEPT;

/* What a node measured since the reset. Means are yours to make: a sum through the count. */
typedef enum zebread_statistic {
  ZEBREAD_MESSAGE_COUNT = 0,
  ZEBREAD_SIZE_SUM_BYTES = 1,
  ZEBREAD_SIZE_MIN_BYTES = 2,
  ZEBREAD_SIZE_MAX_BYTES = 3,
  ZEBREAD_ELAPSED_SUM_MS = 4, /* the time that all behind the node took */
  ZEBREAD_ELAPSED_MIN_MS = 5,
  ZEBREAD_ELAPSED_MAX_MS = 6,
  ZEBREAD_QUEUED_SUM_MS = 7, /* the time in the input's queue; 0 where it is not measured */
  ZEBREAD_QUEUED_MIN_MS = 8,
  ZEBREAD_QUEUED_MAX_MS = 9,
  ZEBREAD_FIRST_COLLECTION = 10, /* times of the first and the last message */
  ZEBREAD_LAST_COLLECTION = 11
} zebread_statistic;

/* ZEBREAD_ABSENT: the node has no statistics, or the time isn't set. ZEBREAD_INVALID: this library
 * knows no such statistic. */
ZEBREAD_API zebread_status zebread_node_statistic(const zebread_node* node, zebread_statistic which,
                                                  int64_t* value) ZEBREAD_NOEXCEPT;

/* Not 0: it was written whenever it was copied, so its numbers may be of two messages. */
ZEBREAD_API int zebread_node_torn(const zebread_node* node) ZEBREAD_NOEXCEPT;

/* Of the statistics; ZEBREAD_ABSENT when the node has none. */
ZEBREAD_API zebread_status zebread_node_statistics_record_id(
    const zebread_node* node, uint8_t id[ZEBREAD_RECORD_ID_BYTES]) ZEBREAD_NOEXCEPT;

/* --- Events --- */

#define ZEBREAD_MESSAGE_ID_BYTES 24

typedef enum zebread_event_kind {
  ZEBREAD_EVENT_UNKNOWN = 0, /* what tells it was overwritten */
  ZEBREAD_EVENT_MESSAGE = 1,
  ZEBREAD_EVENT_EXCEPTION = 2
} zebread_event_kind;

ZEBREAD_API zebread_event_kind zebread_event_kind_of(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API zebread_status zebread_event_time(const zebread_event* event,
                                              int64_t* seconds) ZEBREAD_NOEXCEPT;

/* When its record was made: the same moment, but to the millisecond. */
ZEBREAD_API int64_t zebread_event_created_ms(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API void zebread_event_record_id(const zebread_event* event,
                                         uint8_t id[ZEBREAD_RECORD_ID_BYTES]) ZEBREAD_NOEXCEPT;
ZEBREAD_API int32_t zebread_event_thread_id(const zebread_event* event) ZEBREAD_NOEXCEPT;

/* Of the message, as it said. */
ZEBREAD_API void zebread_event_message_id(const zebread_event* event,
                                          uint8_t id[ZEBREAD_MESSAGE_ID_BYTES]) ZEBREAD_NOEXCEPT;
ZEBREAD_API void zebread_event_correlation_id(
    const zebread_event* event, uint8_t id[ZEBREAD_MESSAGE_ID_BYTES]) ZEBREAD_NOEXCEPT;
ZEBREAD_API int32_t zebread_event_put_application_type(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_event_put_application_name(const zebread_event* event)
    ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_event_put_date(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_event_put_time(const zebread_event* event) ZEBREAD_NOEXCEPT;

/* Who posted it, and its text. They are in a template that many events share: NULL and 0 when
 * that was overwritten. */
ZEBREAD_API const char* zebread_event_group(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_event_flow(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_event_node(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API uint32_t zebread_event_node_type(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API const char* zebread_event_text(const zebread_event* event) ZEBREAD_NOEXCEPT;
ZEBREAD_API void zebread_event_template_id(const zebread_event* event,
                                           uint8_t id[ZEBREAD_RECORD_ID_BYTES]) ZEBREAD_NOEXCEPT;

/* --- Texts --- */

/* Writes `text` into `buffer` as a terminal, a page or a log may get it: UTF-8 on one line, without
 * a character that moves the cursor, changes colours, hides, or turns the direction of writing;
 * such a one is "\x1B". At most `size` bytes are written, the last one 0. Returns the bytes that
 * all of it takes without that 0, and so more than size - 1 when it was cut. NULL counts as "".
 * (size_t)-1 without memory. */
ZEBREAD_API size_t zebread_printable(const char* text, char* buffer, size_t size) ZEBREAD_NOEXCEPT;

/* Writes `bytes` bytes as twice as many upper-case hexadecimal digits and a 0. */
ZEBREAD_API void zebread_hex(const uint8_t* from, size_t bytes, char* digits) ZEBREAD_NOEXCEPT;

#ifdef __cplusplus
}
#endif

#endif /* ZEBREAD_H */
