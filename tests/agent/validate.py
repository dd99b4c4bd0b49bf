# SPDX-License-Identifier: Apache-2.0
"""Whether JSON documents are what their schemas say. Prints what is wrong; the exit code is 1 then.

usage: validate.py SCHEMA-FOLDER FILE, with one document a line
"""
import json, pathlib, sys
import jsonschema

def main(folder, file):
    validators = {}
    for path in pathlib.Path(folder).glob("*.json"):
        schema = json.loads(path.read_text(encoding="utf-8"))
        jsonschema.Draft202012Validator.check_schema(schema)
        validators[path.stem] = jsonschema.Draft202012Validator(schema)
    wrong = 0
    for number, line in enumerate(pathlib.Path(file).read_text(encoding="utf-8").splitlines(), 1):
        document = json.loads(line)
        for error in validators[document["schema"]].iter_errors(document):
            place = "/".join(str(step) for step in error.absolute_path)
            print(f"{file}:{number}: {document['schema']}: {place}: {error.message[:300]}")
            wrong += 1
    return 1 if wrong else 0

if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
