#!/usr/bin/env python3
"""Writes plant_log.xml: 400 readings of 20 sensors, 20 five-minute periods each.

Run once; the output is committed. Deterministic (fixed seed). Two readings
carry deliberate faults that the DTD allows but the demo's binding rejects,
each marked by a comment; neither of them is an alarm.
"""
import random
import struct
import sys

DTD = """<!DOCTYPE plant_log [
  <!ELEMENT plant_log (reading*)>
  <!ELEMENT reading (sensor, label, stamp, serial, register, raw, where, value, unit,
                     sample*, limits, alarm?, calibration?, event*)>
  <!ATTLIST reading seq CDATA #REQUIRED
                    status (ok|drift|fault) "ok">
  <!ELEMENT sensor (#PCDATA)>
  <!ELEMENT label (#PCDATA)>
  <!ELEMENT stamp (#PCDATA)>
  <!ELEMENT serial (#PCDATA)>
  <!ELEMENT register (#PCDATA)>
  <!ELEMENT raw (#PCDATA)>
  <!ELEMENT where (area, line)>
  <!ELEMENT area (#PCDATA)>
  <!ELEMENT line (#PCDATA)>
  <!ELEMENT value (#PCDATA)>
  <!ELEMENT unit (#PCDATA)>
  <!ELEMENT sample (#PCDATA)>
  <!ELEMENT limits (#PCDATA)>
  <!ELEMENT alarm (#PCDATA)>
  <!ELEMENT calibration (date, by)>
  <!ELEMENT date (#PCDATA)>
  <!ELEMENT by (#PCDATA)>
  <!ELEMENT event (#PCDATA)>
  <!ATTLIST event code CDATA #REQUIRED>
]>"""

# tag, label, unit, nominal value, low limit, high limit
SENSORS = [
    ("TT-101", "Reactor 1 inlet temperature", "degC", 182.0, 20.0, 210.0),
    ("TT-102", "Reactor 1 outlet temperature", "degC", 196.0, 20.0, 225.0),
    ("TT-201", "Reactor 2 inlet temperature", "degC", 179.0, 20.0, 210.0),
    ("TT-202", "Reactor 2 outlet temperature", "degC", 193.0, 20.0, 225.0),
    ("TT-301", "Condenser cooling water return", "degC", 34.0, 5.0, 45.0),
    ("PT-110", "Reactor 1 head pressure", "bar", 12.4, 1.0, 16.0),
    ("PT-210", "Reactor 2 head pressure", "bar", 12.1, 1.0, 16.0),
    ("PT-401", "Steam header pressure", "bar", 8.2, 4.0, 10.0),
    ("PT-402", "Instrument air pressure", "bar", 6.9, 5.5, 8.0),
    ("FT-120", "Feed flow to reactor 1", "m3/h", 42.0, 10.0, 55.0),
    ("FT-220", "Feed flow to reactor 2", "m3/h", 40.5, 10.0, 55.0),
    ("FT-501", "Cooling water supply flow", "m3/h", 310.0, 200.0, 380.0),
    ("LT-130", "Reactor 1 level", "%", 61.0, 15.0, 85.0),
    ("LT-230", "Reactor 2 level", "%", 58.0, 15.0, 85.0),
    ("LT-601", "Product tank T-601 level", "%", 44.0, 5.0, 92.0),
    ("LT-602", "Product tank T-602 level", "%", 71.0, 5.0, 92.0),
    ("VT-140", "Agitator M-140 bearing vibration", "mm/s", 2.1, 0.0, 7.1),
    ("VT-240", "Agitator M-240 bearing vibration", "mm/s", 2.6, 0.0, 7.1),
    ("VT-510", "Cooling water pump P-510 vibration", "mm/s", 3.4, 0.0, 7.1),
    ("VT-511", "Cooling water pump P-511 vibration", "mm/s", 3.1, 0.0, 7.1),
]
AREAS = {"1": "Hall A", "2": "Hall B", "3": "Utilities", "4": "Utilities", "5": "Utilities",
         "6": "Tank farm"}
TECHNICIANS = ["J. Okafor", "M. Lindqvist", "A. Haddad", "R. Castellanos"]
FAULTS = {137: ("value", "4O.25", "a letter O in a number"),
          262: ("unit", "degF", "a unit the plant does not use")}
START_US = 1717243200 * 1000000  # 2024-06-01 12:00:00 UTC, in microseconds
PERIOD_US = 300 * 1000000


def raw_word(value):
    """The reading as the transmitter sends it: a big-endian IEEE 754 float."""
    return struct.unpack(">I", struct.pack(">f", value))[0]


def reading(rng, seq, period, index):
    tag, label, unit, nominal, low, high = SENSORS[index]
    value = round(nominal * rng.gauss(1.0, 0.06), 2)
    if rng.random() < 0.05:  # an excursion
        value = round(high * rng.uniform(1.02, 1.15), 2)
    alarmed = not low <= value <= high
    fault = FAULTS.get(seq)
    if fault:
        value, alarmed = round(nominal, 2), False
    drift = rng.random() < 0.04
    status = "fault" if alarmed and rng.random() < 0.3 else "drift" if drift else None
    fields = {
        "sensor": tag, "label": label, "stamp": str(START_US + period * PERIOD_US + index * 1000),
        "serial": "0x%08X" % (0x00A10000 + 97 * index), "register": "%04X" % (0x0100 + 2 * index),
        "raw": "%08X" % raw_word(value), "value": "%.2f" % value, "unit": unit,
    }
    if fault:
        fields[fault[0]] = fault[1]
    lines = []
    if fault:
        lines.append("  <!-- deliberate fault: %s -->" % fault[2])
    attrs = ' seq="%06d"' % seq + (' status="%s"' % status if status else "")
    lines.append("  <reading%s>" % attrs)
    for name in ("sensor", "label", "stamp", "serial", "register", "raw"):
        lines.append("    <%s>%s</%s>" % (name, fields[name], name))
    line = tag[3]
    lines.append("    <where><area>%s</area><line>%s</line></where>" % (AREAS[line], line))
    lines.append("    <value>%s</value>" % fields["value"])
    lines.append("    <unit>%s</unit>" % fields["unit"])
    samples = ["%.2f" % (value + rng.uniform(-0.5, 0.5) * 0.01 * abs(nominal)) for _ in range(rng.randint(2, 4))]
    lines.append("    " + "".join("<sample>%s</sample>" % s for s in samples))
    lines.append("    <limits>%.1f %.1f</limits>" % (low, high))
    if alarmed:
        lines.append("    <alarm>%d</alarm>" % (2 if value > high * 1.08 else 1))
    if drift or rng.random() < 0.05:
        lines.append("    <calibration><date>2024-0%d-%02d</date><by>%s</by></calibration>"
                     % (rng.randint(1, 5), rng.randint(1, 28), rng.choice(TECHNICIANS)))
    if drift:
        lines.append('    <event code="01A2">Probe drift beyond 2 %</event>')
    if alarmed:
        lines.append('    <event code="%04X">Limit exceeded: high %.1f %s</event>' % (0x0200 + index, high, unit))
        if status == "fault":
            lines.append('    <event code="0F01">Transmitter self-test failed</event>')
    lines.append("  </reading>")
    return "\n".join(lines)


def main():
    rng = random.Random(20240601)
    out = ['<?xml version="1.0" encoding="UTF-8"?>', DTD, "<plant_log>"]
    seq = 1
    for period in range(20):
        for index in range(len(SENSORS)):
            out.append(reading(rng, seq, period, index))
            seq += 1
    out.append("</plant_log>")
    sys.stdout.write("\n".join(out) + "\n")


if __name__ == "__main__":
    main()
