#!/usr/bin/env python3
"""Holds a dispatcher's answers against its API's document.

usage: check_api_document.py OPENAPI.YAML ANSWERS.JSON

ANSWERS.JSON is an array of {"method", "path", "status", "type", "body"}: path with "*" for what was filled in, body as
it came, a text where its media type is not JSON.
The first must be the answer to GET /v1. Says what does not fit, a line each, and ends with 1 if anything does not.
"""

import json
import re
import sys

import jsonschema
import yaml


def main() -> int:
    with open(sys.argv[1], encoding="utf-8") as document, open(sys.argv[2], encoding="utf-8") as given:
        api, answers = yaml.safe_load(document), json.load(given)
    operations = {
        (method.upper(), re.sub(r"{[^}]*}", "*", path)): operation
        for path, methods in api["paths"].items()
        for method, operation in methods.items()
    }
    troubles = []
    offered = {(route["method"], route["path"]) for route in answers[0]["body"]["routes"]}
    troubles += [f"offered, but not described: {route}" for route in sorted(offered - operations.keys())]
    troubles += [f"described, but not offered: {route}" for route in sorted(operations.keys() - offered)]
    for answer in answers:
        operation = operations[(answer["method"], answer["path"])]
        is_good = answer["status"] == 200
        if is_good:
            schema = operation["responses"]["200"]["content"][answer["type"].split(";")[0]]["schema"]
        else:
            schema = {"$ref": "#/components/schemas/Problem"}
        validator = jsonschema.Draft202012Validator(
            {**schema, "components": api["components"]}, format_checker=jsonschema.FormatChecker()
        )
        for error in validator.iter_errors(answer["body"]):
            place = "/".join(str(part) for part in error.absolute_path)
            troubles.append(f'{answer["method"]} {answer["path"]} ({answer["status"]}) at "{place}": {error.message}')
    print("\n".join(troubles))
    return 1 if troubles else 0


if __name__ == "__main__":
    sys.exit(main())
