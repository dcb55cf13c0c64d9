"""Reads a result by plain SQLite, without any code of the project."""

import sqlite3
from pathlib import Path

U64 = (1 << 64) - 1

# One row per sample instance with what its keys stand for.
SAMPLES_SQL = """
SELECT e.name, p.pid, t.tid, c.number, i.end_tsc, i.count, s.ip
  FROM sample_instance i
  JOIN dd_sample s ON s.id = i.sample
  JOIN dd_event_type e ON e.id = i.event_type
  JOIN dd_thread t ON t.id = i.thread
  JOIN dd_process p ON p.id = t.process
  LEFT JOIN dd_cpu c ON c.id = i.cpu"""


def database(folder):
    return Path(folder) / "result.sqlite"


def rows(folder, sql, *values):
    """All rows of a statement on the result in `folder`."""
    connection = sqlite3.connect(f"file:{database(folder)}?mode=rw", uri=True)
    connection.text_factory = lambda raw: raw.decode("utf-8", "surrogateescape")
    try:
        return connection.execute(sql, values).fetchall()
    finally:
        connection.close()


def value(folder, sql, *values):
    return rows(folder, sql, *values)[0][0]


def info(folder):
    return dict(rows(folder, "SELECT key, value FROM dd_load_info"))


def integrity(folder):
    return [row[0] for row in rows(folder, "PRAGMA integrity_check")]


def unsigned(number):
    """SQLite's signed integers back as the 64 bits that were stored."""
    return None if number is None else number & U64


def samples(folder):
    """(event, pid, tid, cpu, tick, count, ip) of every sample row."""
    return [(event, pid, tid, cpu, unsigned(tick), count, unsigned(ip))
            for event, pid, tid, cpu, tick, count, ip in rows(folder, SAMPLES_SQL)]
