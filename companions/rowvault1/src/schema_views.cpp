#include "schema_parts.h"

// The readable views: the stable surface for people and scripts. Missing keys show as null,
// addresses as hexadecimal text, ticks as SQLite's signed integers.
namespace rowvault1::schema {
namespace {

using enum kind_t;

constexpr column_t g_samples[] = {
    {0, "start_tsc", u64, "", "First tick of the interval."},
    {1, "end_tsc", u64, "", "Last tick of the interval; a range of it is found without a scan."},
    {2, "event", text, "", "Name of the event."},
    {3, "pid", s32, "", "Process id."},
    {4, "tid", s32, "", "Thread id."},
    {5, "process", text, "", "Name of the process."},
    {6, "thread", text, "", "Name of the thread."},
    {7, "cpu", s32, "", "Number of the logical CPU."},
    {8, "mode", text, "", "Privilege in which the CPU ran."},
    {9, "ip", text, "", "Instruction pointer, as 0x and hexadecimal digits."},
    {10, "module", text, "", "Name of the module in which the instruction pointer lies."},
    {11, "count", s64, "", "Number of events that the interval stands for."},
    {12, "rate", real, "", "Events per tick up to the sample that followed."},
    {13, "callsite", s32, "dd_callsite", "Leaf of the call chain; see the view frames."},
    {14, "sample", s32, "dd_sample", "Attributes of the sample."},
    {15, "next_event", text, "", "Event of the sample that followed; null where there is none."},
    {16, "next_callsite", s32, "dd_callsite",
     "Call chain of the sample that followed; null where there is none."},
    {17, "function", text, "", "Function that was sampled; null where it is not known."},
    {18, "file", text, "", "Source file that was sampled; null where it is not known."},
    {19, "line", s32, "", "Line in it; null where it is not known."},
    {20, "interval", s32, "sample_instance", "Number of the sample, as explain takes it."},
    {21, "branch_stack", s32, "dd_lbr_head", "Its branch records; null where it has none."},
};

constexpr std::string_view g_samplesSelect = R"(
SELECT i.start_tsc AS start_tsc, i.end_tsc AS end_tsc, e.name AS event,
       p.pid AS pid, t.tid AS tid, p.name AS process, t.name AS thread,
       c.number AS cpu, m.name AS mode,
       CASE WHEN s.ip IS NOT NULL THEN printf('0x%llx', s.ip) END AS ip,
       f.name AS module,
       i.count AS count, i.rate AS rate,
       nullif(i.callsite, -1) AS callsite, nullif(i.sample, -1) AS sample,
       CASE WHEN e.counting IS 1 THEN NULL ELSE ne.name END AS next_event,
       CASE WHEN e.counting IS 1 OR i.next_event_type IS NULL THEN NULL
            ELSE nullif(i.next_callsite, -1) END AS next_callsite,
       (SELECT fn.name FROM dd_callsite AS k
          JOIN dd_code_location AS l ON l.id = k.code_loc
          JOIN dd_code_name AS n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
          JOIN dd_function AS fn ON fn.id = n.function
         WHERE k.id = i.callsite LIMIT 1) AS function,
       (SELECT sf.path FROM dd_callsite AS k
          JOIN dd_code_location AS l ON l.id = k.code_loc
          JOIN dd_code_name AS n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
          JOIN dd_source_file AS sf ON sf.id = n.source_file
         WHERE k.id = i.callsite LIMIT 1) AS file,
       (SELECT n.line FROM dd_callsite AS k
          JOIN dd_code_location AS l ON l.id = k.code_loc
          JOIN dd_code_name AS n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
         WHERE k.id = i.callsite LIMIT 1) AS line,
       i.id AS interval, nullif(s.lbr_head, -1) AS branch_stack
  FROM sample_instance AS i
  LEFT JOIN dd_sample AS s ON s.id = i.sample
  LEFT JOIN dd_event_type AS e ON e.id = i.event_type
  LEFT JOIN dd_cpu AS c ON c.id = i.cpu
  LEFT JOIN dd_thread AS t ON t.id = i.thread
  LEFT JOIN dd_process AS p ON p.id = t.process
  LEFT JOIN dd_cpu_mode AS m ON m.id = s.cpu_mode
  LEFT JOIN dd_segment_instance AS si ON si.id = s.seg_inst
  LEFT JOIN dd_module_segment AS ms ON ms.id = si.mod_seg
  LEFT JOIN dd_module_file AS f ON f.id = ms.module
  LEFT JOIN dd_event_type AS ne ON ne.id = i.next_event_type)";

constexpr column_t g_frames[] = {
    {0, "callsite", s32, "dd_callsite", "Leaf of the call chain that the frame is in."},
    {1, "depth", s32, "", "Distance from the leaf, which has 0."},
    {2, "module", text, "", "Name of the module of the frame."},
    {3, "rva", text, "", "Address relative to the module, as 0x and hexadecimal digits."},
    {4, "function", text, "", "Name of the function; null where it is not known."},
    {5, "file", text, "", "Source file; null where it is not known."},
    {6, "line", s32, "", "Line in it, of a caller that of the call; null where it is not known."},
};

constexpr std::string_view g_framesSelect = R"(
WITH RECURSIVE walk(callsite, depth, at) AS (
  SELECT id, 0, id FROM dd_callsite
  UNION ALL
  SELECT walk.callsite, walk.depth + 1, inner_frame.parent
    FROM walk JOIN dd_callsite AS inner_frame ON inner_frame.id = walk.at
   WHERE inner_frame.parent > 0 AND inner_frame.parent < walk.at)
SELECT walk.callsite AS callsite, walk.depth AS depth, f.name AS module,
       CASE WHEN l.rva IS NOT NULL THEN printf('0x%llx', l.rva) END AS rva, fn.name AS function,
       sf.path AS file, n.line AS line
  FROM walk
  JOIN dd_callsite AS k ON k.id = walk.at
  LEFT JOIN dd_code_location AS l ON l.id = k.code_loc
  LEFT JOIN dd_module_segment AS ms ON ms.id = l.mod_seg
  LEFT JOIN dd_module_file AS f ON f.id = ms.module
  LEFT JOIN dd_code_name AS n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
  LEFT JOIN dd_function AS fn ON fn.id = n.function
  LEFT JOIN dd_source_file AS sf ON sf.id = n.source_file)";

constexpr column_t g_code[] = {
    {0, "location", s32, "dd_code_location", "Place in code."},
    {1, "module", text, "", "Name of its module; null outside modules."},
    {2, "rva", text, "", "Address relative to the module, as 0x and hexadecimal digits."},
    {3, "function", text, "", "Name of the function; null where it is not known."},
    {4, "file", text, "", "Source file; null where it is not known."},
    {5, "line", s32, "", "Line in it; null where it is not known."},
    {6, "missing", text, "", "Why it has no function; null when it has."},
};

constexpr std::string_view g_codeSelect = R"(
SELECT l.id AS location, f.name AS module,
       CASE WHEN l.rva IS NOT NULL THEN printf('0x%llx', l.rva) END AS rva, fn.name AS function,
       sf.path AS file, n.line AS line,
       CASE WHEN fn.name IS NULL THEN
         coalesce(w.reason, wm.reason,
                  CASE WHEN f.id IS NULL THEN 'outside every known module'
                       ELSE 'names were not looked for' END) END AS missing
  FROM dd_code_location AS l
  LEFT JOIN dd_module_segment AS ms ON ms.id = l.mod_seg
  LEFT JOIN dd_module_file AS f ON f.id = ms.module
  LEFT JOIN dd_code_name AS n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
  LEFT JOIN dd_function AS fn ON fn.id = n.function
  LEFT JOIN dd_source_file AS sf ON sf.id = n.source_file
  LEFT JOIN dd_missing_name AS w ON w.id = n.missing
  LEFT JOIN dd_missing_name AS wm ON wm.id =
    (SELECT x.missing FROM dd_module_search AS x WHERE x.module = f.id
      ORDER BY x.id DESC LIMIT 1))";

constexpr column_t g_inlinedFrames[] = {
    {0, "location", s32, "dd_code_location", "Place in code at which functions were inlined."},
    {1, "depth", s32, "", "0 for the innermost; the last is the function that has the code."},
    {2, "function", text, "", "Name of the function."},
    {3, "file", text, "", "Source file of the place in that function; null where not known."},
    {4, "line", s32, "", "Line in it, of an outer function that of the call; null: not known."},
};

constexpr std::string_view g_inlinedFramesSelect = R"(
WITH RECURSIVE walk(location, outermost, depth, at, file, line) AS (
  SELECT l.id, n.function, 0, n.inlined, n.source_file, n.line
    FROM dd_code_location AS l
    JOIN dd_code_name AS n ON n.mod_seg = l.mod_seg AND n.rva = l.rva
   WHERE n.inlined IS NOT NULL
  UNION ALL
  SELECT walk.location, walk.outermost, walk.depth + 1, i.caller, i.call_file, i.call_line
    FROM walk JOIN dd_inlined AS i ON i.id = walk.at WHERE walk.depth < 1000)
SELECT walk.location AS location, walk.depth AS depth, fn.name AS function,
       sf.path AS file, walk.line AS line
  FROM walk
  LEFT JOIN dd_inlined AS i ON i.id = walk.at
  LEFT JOIN dd_function AS fn
         ON fn.id = CASE WHEN walk.at IS NULL THEN walk.outermost ELSE i.function END
  LEFT JOIN dd_source_file AS sf ON sf.id = walk.file)";

constexpr column_t g_jitCode[] = {
    {0, "pid", s32, "", "Process that generated the code."},
    {1, "function", text, "", "Name of the function; null where it has none."},
    {2, "address", text, "", "First address, as 0x and hexadecimal digits."},
    {3, "size", u64, "", "Bytes of code."},
    {4, "start_tsc", u64, "", "First tick at which it was there; 0 when not known."},
    {5, "end_tsc", u64, "", "Last tick at which it was there; null when it stayed."},
    {6, "source", text, "", "File that describes the code."},
};

constexpr std::string_view g_jitCodeSelect = R"(
SELECT p.pid AS pid, fn.name AS function, printf('0x%llx', r.address) AS address, r.size AS size,
       r.start_tsc AS start_tsc, r.end_tsc AS end_tsc, f.path AS source
  FROM dd_jit_region AS r
  LEFT JOIN dd_process AS p ON p.id = r.process
  LEFT JOIN dd_function AS fn ON fn.id = r.function
  LEFT JOIN dd_segment_instance AS si ON si.id = r.seg_inst
  LEFT JOIN dd_module_segment AS ms ON ms.id = si.mod_seg
  LEFT JOIN dd_module_file AS f ON f.id = ms.module)";

constexpr column_t g_cpuRunning[] = {
    {0, "pid", s32, "", "Process id."},
    {1, "tid", s32, "", "Thread id."},
    {2, "thread", text, "", "Name of the thread."},
    {3, "cpu", s32, "", "Number of the logical CPU; null where it is not known."},
    {4, "start_tsc", u64, "", "First tick on the CPU."},
    {5, "end_tsc", u64, "", "Tick at which the thread left it."},
};

constexpr std::string_view g_cpuRunningSelect = R"(
SELECT p.pid AS pid, t.tid AS tid, t.name AS thread, nullif(r.bucket, -1) AS cpu,
       r.start_tsc AS start_tsc, r.end_tsc AS end_tsc
  FROM cpu_running_data_t AS r
  LEFT JOIN dd_thread AS t ON t.id = r.thread
  LEFT JOIN dd_process AS p ON p.id = t.process)";

constexpr column_t g_coreClasses[] = {
    {0, "pid", s32, "", "Process id; null for the idle task, like all of the thread."},
    {1, "tid", s32, "", "Thread id."},
    {2, "thread", text, "", "Name of the thread."},
    {3, "class", text, "", "Name of the class; Invalid where the CPU gave none."},
    {4, "value", s32, "", "Value that came with the first report of the CPU."},
    {5, "start_tsc", u64, "", "First tick, included."},
    {6, "end_tsc", u64, "", "Last tick, included."},
};

constexpr std::string_view g_coreClassesSelect = R"(
SELECT p.pid AS pid, t.tid AS tid, t.name AS thread, c.name AS class, f.value AS value,
       b.start_tsc AS start_tsc, b.end_tsc AS end_tsc
  FROM hw_feedback_data AS b
  LEFT JOIN dd_thread AS t ON t.id = b.owner
  LEFT JOIN dd_process AS p ON p.id = t.process
  LEFT JOIN dd_hw_feedback AS f ON f.id = b.attribute
  LEFT JOIN dd_hw_feedback_coretier_class AS c ON c.id = f.class)";

constexpr column_t g_uncoreEvents[] = {
    {0, "event", text, "", "Name of the uncore event, with its unit in brackets."},
    {1, "package", text, "", "Name of the package."},
    {2, "io_unit", s32, "", "Number of the IO unit that it counts there; null: it counts none."},
    {3, "channel", s32, "", "Number of the channel within the unit; null: it counts none."},
    {4, "mesh_stop", s32, "", "Number of the mesh stop; null: none is known."},
    {5, "link", text, "", "Name of the link between packages; null: it counts none."},
    {6, "source", text, "", "What is behind the channel, else the unit, else the mesh stop."},
    {7, "addresses", text, "", "PCI addresses of the source, joined by commas."},
    {8, "place", s32, "dd_uncore_event_place", "Row of the event and the package."},
};

constexpr std::string_view g_uncoreEventsSelect = R"(
SELECT u.name AS event, p.name AS package, iu.io_unit AS io_unit, ic.channel AS channel,
       m.tid AS mesh_stop, l.display_name AS link, nullif(s.name, '') AS source,
       nullif(s.addresses, '') AS addresses, w.id AS place
  FROM dd_uncore_event_place AS w
  LEFT JOIN dd_uncore_event_type AS u ON u.id = w.event
  LEFT JOIN dd_package AS p ON p.id = w.package
  LEFT JOIN dd_io_channel_info AS ic ON ic.id = w.io_channel
  LEFT JOIN dd_io_unit_info AS iu ON iu.id = w.io_unit
  LEFT JOIN dd_mesh_stop AS m ON m.id = w.mesh_stop
  LEFT JOIN dd_xlk_link_info AS l ON l.id = w.link
  LEFT JOIN dd_io_traffic_source AS s ON s.id =
    CASE WHEN ic.id IS NOT NULL THEN ic.traffic_source
         WHEN iu.id IS NOT NULL THEN iu.traffic_source ELSE m.traffic_source END)";

constexpr column_t g_uncoreCounts[] = {
    {0, "start_tsc", u64, "", "First tick of the interval."},
    {1, "end_tsc", u64, "", "Last tick of the interval."},
    {2, "event", text, "", "Name of the uncore event, with its unit in brackets."},
    {3, "package", text, "", "Name of the package; null where it is not known."},
    {4, "cpu", s32, "", "Number of the logical CPU that counted for the package."},
    {5, "count", s64, "", "Number of events in the interval."},
    {6, "io_unit", s32, "", "As in uncore_events."},
    {7, "channel", s32, "", "As in uncore_events."},
    {8, "mesh_stop", s32, "", "As in uncore_events."},
    {9, "link", text, "", "As in uncore_events."},
    {10, "source", text, "", "As in uncore_events."},
};

constexpr std::string_view g_uncoreCountsSelect = R"(
SELECT i.start_tsc AS start_tsc, i.end_tsc AS end_tsc, u.name AS event, p.name AS package,
       c.number AS cpu, i.count AS count, v.io_unit AS io_unit, v.channel AS channel,
       v.mesh_stop AS mesh_stop, v.link AS link, v.source AS source
  FROM sample_instance AS i
  JOIN dd_event_type AS e ON e.id = i.event_type
  JOIN dd_uncore_event_type AS u ON u.id = e.uncore_event
  LEFT JOIN dd_cpu AS c ON c.id = i.cpu
  LEFT JOIN dd_package AS p ON p.id = c.package
  LEFT JOIN dd_uncore_event_place AS w ON w.event = u.id AND w.package = c.package
  LEFT JOIN uncore_events AS v ON v.place = w.id)";

constexpr column_t g_processes[] = {
    {0, "process", s32, "dd_process", "Key of the process."},
    {1, "pid", s32, "", "Process id."},
    {2, "name", text, "", "Name of the process."},
    {3, "life", s32, "", "Counts the lives of one process id, from 0."},
    {4, "parent_pid", s32, "", "Process id of the parent."},
    {5, "start_tsc", u64, "", "First tick at which the process is known."},
    {6, "end_tsc", u64, "", "Last tick at which the process is known."},
};

constexpr std::string_view g_processesSelect = R"(
SELECT p.id AS process, p.pid AS pid, p.name AS name, p.life AS life, q.pid AS parent_pid,
       p.start_tsc AS start_tsc, p.end_tsc AS end_tsc
  FROM dd_process AS p LEFT JOIN dd_process AS q ON q.id = p.parent)";

constexpr column_t g_threads[] = {
    {0, "thread", s32, "dd_thread", "Key of the thread."},
    {1, "pid", s32, "", "Process id."},
    {2, "tid", s32, "", "Thread id."},
    {3, "name", text, "", "Name of the thread."},
    {4, "process", text, "", "Name of the process."},
    {5, "start_tsc", u64, "", "First tick at which the thread is known."},
    {6, "end_tsc", u64, "", "Last tick at which the thread is known."},
};

constexpr std::string_view g_threadsSelect = R"(
SELECT t.id AS thread, p.pid AS pid, t.tid AS tid, t.name AS name, p.name AS process,
       t.start_tsc AS start_tsc, t.end_tsc AS end_tsc
  FROM dd_thread AS t LEFT JOIN dd_process AS p ON p.id = t.process)";

constexpr column_t g_modules[] = {
    {0, "module", s32, "dd_module_file", "Key of the module."},
    {1, "name", text, "", "File name of the module."},
    {2, "path", text, "", "Path of the module as the recording has it."},
    {3, "md5", text, "", "MD5 checksum, hexadecimal."},
    {4, "build_id", text, "", "Build id, hexadecimal."},
    {5, "found", text, "", "File that was taken for it on the machine of the load; null: none."},
    {6, "symbols", text, "", "Further file with its names and lines; null: none."},
    {7, "missing", text, "", "Why places in it have no names; null when they have."},
};

constexpr std::string_view g_modulesSelect = R"(
SELECT f.id AS module, f.name AS name, f.path AS path, f.md5 AS md5, f.build_id AS build_id,
       s.found AS found, s.symbols AS symbols, w.reason AS missing
  FROM dd_module_file AS f
  LEFT JOIN dd_module_search AS s ON s.module = f.id
   AND s.id = (SELECT max(x.id) FROM dd_module_search AS x WHERE x.module = f.id)
  LEFT JOIN dd_missing_name AS w ON w.id = s.missing)";

constexpr column_t g_moduleAttempts[] = {
    {0, "module", s32, "dd_module_file", "Module that was looked for."},
    {1, "path", text, "", "Path of the module as the recording has it."},
    {2, "step", s32, "", "Counts the tries for one module, from 0, in their order."},
    {3, "purpose", text, "", "binary or symbols."},
    {4, "place", text, "", "Kind of place."},
    {5, "tried", text, "", "Path that was tried."},
    {6, "refusal", text, "", "Why it was not taken; null for the file that was."},
    {7, "detail", text, "", "More about that; null when there is no more."},
};

constexpr std::string_view g_moduleAttemptsSelect = R"(
SELECT s.module AS module, f.path AS path, a.step AS step, a.purpose AS purpose, a.place AS place,
       a.path AS tried, a.refusal AS refusal, a.detail AS detail
  FROM dd_module_attempt AS a
  JOIN dd_module_search AS s ON s.id = a.search
   AND s.id = (SELECT max(x.id) FROM dd_module_search AS x WHERE x.module = s.module)
  LEFT JOIN dd_module_file AS f ON f.id = s.module)";

constexpr column_t g_quality[] = {
    {0, "reason", text, "", "Why something was dropped, repaired or guessed."},
    {1, "count", u64, "", "How often."},
    {2, "remedy", text, "", "What the user can do about it."},
    {3, "severity", text, "", "info, error or data_loss."},
};

constexpr std::string_view g_qualitySelect = R"(
SELECT reason AS reason, count AS count, remedy AS remedy, severity AS severity FROM dd_quality)";

constexpr column_t g_loadInfo[] = {
    {0, "key", text, "", "Name of the fact; state is complete or incomplete."},
    {1, "value", text, "", "Value of the fact."},
};

constexpr std::string_view g_loadInfoSelect = R"(
SELECT "key" AS "key", value AS value FROM dd_load_info)";

constexpr view_t g_views[] = {
    {"samples", "A row per sampled interval, with names beside it.", g_samplesSelect, g_samples},
    {"frames", "A row per frame of every call chain, the leaf at depth 0.", g_framesSelect,
     g_frames},
    {"code", "A row per place in code, with its names.", g_codeSelect, g_code},
    {"inlined_frames", "A row per function at a place where functions were inlined.",
     g_inlinedFramesSelect, g_inlinedFrames},
    {"jit_code", "A row per piece of generated code in which a frame lies.", g_jitCodeSelect,
     g_jitCode},
    {"cpu_running", "A row per span of time in which a thread was on a CPU.", g_cpuRunningSelect,
     g_cpuRunning},
    {"core_classes", "A row per span of time in which the CPU of a thread reported one class.",
     g_coreClassesSelect, g_coreClasses},
    {"uncore_events", "A row per uncore event and package: the places that it stands for.",
     g_uncoreEventsSelect, g_uncoreEvents},
    {"uncore_counts", "A row per interval of an uncore event, with its places beside it.",
     g_uncoreCountsSelect, g_uncoreCounts},
    {"processes", "A row per life of a process.", g_processesSelect, g_processes},
    {"threads", "A row per life of a thread.", g_threadsSelect, g_threads},
    {"modules", "A row per module file.", g_modulesSelect, g_modules},
    {"module_attempts", "A row per path at which a module's file was looked for.",
     g_moduleAttemptsSelect, g_moduleAttempts},
    {"quality", "What was dropped, repaired or guessed, counted by reason.", g_qualitySelect,
     g_quality},
    {"load_info", "Facts about the load.", g_loadInfoSelect, g_loadInfo},
};

} // namespace

std::span<const view_t> readableViews()
{
    return g_views;
}

} // namespace rowvault1::schema
