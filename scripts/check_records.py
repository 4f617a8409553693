#!/usr/bin/env python3
"""check_records.py SCHEMA RECORD...: holds run records against their JSON Schema.

Says what is wrong with each record, and ends with 1 when one is wrong or there is none.
"""
import json
import pathlib
import sys

import jsonschema


def faults_of(record, validator):
    try:
        content = json.loads(record.read_bytes().decode("utf-8"))
    except ValueError as fault:
        return [f"no JSON: {fault}"]
    faults = [f"{'/'.join(map(str, fault.absolute_path)) or 'the whole'}: {fault.message}"
              for fault in validator.iter_errors(content)]
    launch = content.get("launch")
    if launch and "".join(piece["text"] for piece in launch["pieces"]) != launch["command"]:
        faults.append("launch: the pieces are not the command")
    return faults


def main():
    schema = json.loads(pathlib.Path(sys.argv[1]).read_text("utf-8"))
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(schema)
    records = [pathlib.Path(name) for name in sys.argv[2:]]
    bad = [f"{record}: {fault}" for record in records for fault in faults_of(record, validator)]
    print("\n".join(bad) if bad else f"{len(records)} records fit {sys.argv[1]}")
    return 1 if bad or not records else 0


if __name__ == "__main__":
    sys.exit(main())
