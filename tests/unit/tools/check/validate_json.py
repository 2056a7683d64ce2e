#!/usr/bin/env python3
"""Validates JSON lines: validate_json.py SCHEMA < LINES

For each line that the schema rejects, writes "NUMBER: REASON" and in the end exits with status 1.
"""
import json
import sys

import jsonschema


def no_constant(text):
    raise ValueError(f"{text} is not JSON")


def main():
    with open(sys.argv[1], encoding="utf-8") as file:
        schema = json.load(file)
    jsonschema.Draft7Validator.check_schema(schema)
    validator = jsonschema.Draft7Validator(
        schema, format_checker=jsonschema.Draft7Validator.FORMAT_CHECKER
    )
    status = 0
    for number, line in enumerate(sys.stdin, 1):
        try:
            record = json.loads(line, parse_constant=no_constant)
        except ValueError as error:
            reason = str(error)
        else:
            error = jsonschema.exceptions.best_match(validator.iter_errors(record))
            if error is None:
                continue
            reason = error.message
        print(f"{number}: {reason}")
        status = 1
    return status


if __name__ == "__main__":
    sys.exit(main())
