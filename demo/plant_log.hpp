// The application's model of a plant sensor log: one Reading per <reading>,
// and the categories under which readings are logged.
//
// A <reading> of demo/data/plant_log.xml, and the member each part fills:
//
//     <reading seq="000042" status="drift">                 seq (%06d), status (a name)
//       <sensor>TT-101</sensor>                             sensor (text, trimmed)
//       <label>Reactor 1 inlet temperature</label>          label
//       <stamp>1717243200000000</stamp>                     stamp_us (64 bits)
//       <serial>0x00A10000</serial>                         serial (0x%08X)
//       <register>0100</register>                           modbus_register (big-endian)
//       <raw>433E68F6</raw>                                 raw (big-endian)
//       <where><area>Hall A</area><line>1</line></where>    where (nested)
//       <value>190.41</value><unit>degC</unit>              value (%.2d), unit (a name)
//       <sample>190.27</sample><sample>189.87</sample>      samples (every <sample>)
//       <limits>20.0 210.0</limits>                         limits (a list of two)
//       <alarm>2</alarm>                                    alarm; sets alarmed
//       <calibration>...</calibration>                      calibration (when present)
//       <event code="01A2">Probe drift</event>              events (every <event>)
//     </reading>
#ifndef TESSEL_DEMO_PLANT_LOG_HPP
#define TESSEL_DEMO_PLANT_LOG_HPP

#include <XML/Tessel.hpp>
#include <shared/endian.hpp>

#include <array>
#include <optional>
#include <string>
#include <vector>

enum class Status { ok, drift, fault };
enum class Unit { degC, bar, m3_h, percent, mm_s };

struct Where {
    std::string area;
    long line;
};

struct Calibration {
    std::string date;
    std::string by;
};

struct Event {
    unsigned code;  // the transmitter's event code, in hexadecimal
    std::string text;
};

struct Reading {
    long seq;
    Status status;
    std::string sensor;
    std::string label;
    Tessel::int64 stamp_us;  // microseconds since 1970, UTC
    unsigned long serial;
    BE_ushort modbus_register;  // as on the wire: most significant byte first
    BE_ulong raw;               // the transmitter's IEEE 754 word, as on the wire
    Where where;
    double value;
    Unit unit;
    std::vector<double> samples;
    std::array<double, 2> limits;  // low, high
    bool alarmed;
    long alarm;  // the alarm level, when alarmed
    std::optional<Calibration> calibration;
    std::vector<Event> events;
};

// How XML_Write writes a Reading: a <reading>, from the binding tables.
template <>
const Tessel::Info<Reading> Tessel::Info<Reading>::info;

// The attribute table and binding rows of <reading>, for the descriptor that
// reads readings.
extern const Tessel::Attrib::Attrib_Hash<Reading> reading_attrs;
extern const Tessel::Subelement_table<Reading> reading_rows[14];

// The categories a reading is logged under: every reading is normal or an alarm.
constexpr Tessel::Filter normal_category = 0x1, alarm_category = 0x2;

inline Tessel::Filter Category(const Reading& reading) {
    return reading.alarmed ? alarm_category : normal_category;
}

#endif
