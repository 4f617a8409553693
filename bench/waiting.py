#!/usr/bin/env python3
"""waiting.py: reads what has happened at a head node of the tests, for waiting.sh.

    waiting.py submitted EVENTS            how many jobs were submitted
    waiting.py begun EVENTS                how many have their task
    waiting.py reaction EVENTS SECONDS     for jobs that waited so long for their nodes: the
                                           seconds from their nodes to their task
"""
import pathlib
import statistics
import sys


def texts_of(data):
    """The texts of a message, each with its length in front."""
    while data:
        size, _, data = data.partition(b":")
        yield data[:int(size)]
        data = data[int(size):]


def events_of(path):
    data = path.read_bytes() if path.exists() else b""
    for message in texts_of(data):
        yield dict(text.decode("latin-1").split("=", 1) for text in texts_of(message))


def times_of(events, verb):
    return {event["job"]: float(event["time"]) for event in events
            if event.get("verb") == verb and "job" in event}


def main():
    events = list(events_of(pathlib.Path(sys.argv[2])))
    submitted = times_of(events, "submit")
    tasks = times_of(events, "add")
    if sys.argv[1] != "reaction":
        print(len(submitted if sys.argv[1] == "submitted" else tasks))
        return
    seconds = [tasks[job] - time - float(sys.argv[3]) for job, time in submitted.items() if job in tasks]
    print(f"{statistics.median(seconds):.1f} | {max(seconds):.1f}")


if __name__ == "__main__":
    main()
