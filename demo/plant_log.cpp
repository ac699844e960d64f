// The descriptors of the plant log: attribute tables and binding rows, built
// once during static construction and shared by reading and writing.
#include "plant_log.hpp"

using namespace Tessel;

// The names of the enumerations, as the document spells them.
static const Value_entry<Status> status_names[] = {
    {"ok", Status::ok}, {"drift", Status::drift}, {"fault", Status::fault}};
static const Value_entry<Unit> unit_names[] = {{"degC", Unit::degC},
                                               {"bar", Unit::bar},
                                               {"m3/h", Unit::m3_h},
                                               {"%", Unit::percent},
                                               {"mm/s", Unit::mm_s}};
static const Value_hash<Status> statuses(status_names);
static const Value_hash<Unit> units(unit_names);

// <where><area>Hall A</area><line>1</line></where>
static const Subelement_table<Where> where_rows[] = {{Subelement(&Where::area, "area")},
                                                     {Subelement(&Where::line, "line")}};
static const Info<Where> where_info("where", where_rows);

// <calibration><date>2024-05-02</date><by>J. Okafor</by></calibration>
static const Subelement_table<Calibration> calibration_rows[] = {{Subelement(&Calibration::date, "date")},
                                                                 {Subelement(&Calibration::by, "by")}};
static const Info<Calibration> calibration_info("calibration", calibration_rows);

// <event code="01A2">Probe drift</event>: a hexadecimal attribute and the text.
static const Attrib::Entry<Event> code_attr("code", Get_Access<Event, unsigned>(Access::GetSet(&Event::code),
                                                                                "%04X"));
static const Attrib::Attrib_Table<Event> event_attr_rows[] = {{code_attr}};
static const Attrib::Attrib_Hash<Event> event_attrs(event_attr_rows);
static const Info<Event> event_info("event", Get_Access<Event, std::string>(Access::GetSet(&Event::text)),
                                    event_attrs);

// <reading seq="000042" status="drift">
static const Attrib::Entry<Reading> seq_attr("seq", Get_Access<Reading, long>(Access::GetSet(&Reading::seq),
                                                                              "%06d"));
static const Attrib::Entry<Reading> status_attr("status",
                                                Get_Access<Reading, Status>(Access::GetSet(&Reading::status),
                                                                            statuses));
static const Attrib::Attrib_Table<Reading> reading_attr_rows[] = {{seq_attr}, {status_attr}};
const Attrib::Attrib_Hash<Reading> reading_attrs(reading_attr_rows);

const Subelement_table<Reading> reading_rows[14] = {
    {Subelement(&Reading::sensor, "sensor")},
    {Subelement(&Reading::label, "label")},
    {Subelement(&Reading::stamp_us, "stamp")},
    {Subelement(&Reading::serial, "serial", "0x%08X")},
    {Subelement(&Reading::modbus_register, "register")},  // four hexadecimal digits
    {Subelement(&Reading::raw, "raw")},                   // eight
    {Subelement(where_info).Of(&Reading::where)},
    {Subelement(&Reading::value, "value", "%.2d")},
    {Subelement(&Reading::unit, "unit", units)},
    {Subelement(&Reading::samples, "sample", "%.2d")},
    {Subelement_list(&Reading::limits, "limits", "%.1d")},
    {Subelement(&Reading::alarm, "alarm").If(&Reading::alarmed, true)},
    {Subelement(calibration_info).Of(&Reading::calibration)},
    {Subelement(event_info).Of(&Reading::events)},
};

template <>
const Info<Reading> Info<Reading>::info("reading", reading_rows, reading_attrs);
