"""The JSON schemas of plans/schema, for tests: a schema by the name that a document gives itself."""
import json
import pathlib

import jsonschema

SCHEMAS = pathlib.Path(__file__).parents[2] / 'plans' / 'schema'


def closed(schema):
    """The same schema, but a field that it does not list is wrong: what is written has to be described."""
    if isinstance(schema, list):
        return [closed(part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    out = {key: closed(part) for key, part in schema.items()}
    if 'properties' in schema and schema.get('type') == 'object':
        out.setdefault('additionalProperties', False)
    return out


def load(name):
    schema = json.loads((SCHEMAS / name).read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    return schema


def problems(schema, document):
    """What is wrong with the document, a line each; a schema that is none is an error."""
    errors = jsonschema.Draft202012Validator(schema).iter_errors(document)
    return [f'{"/".join(map(str, error.absolute_path))}: {error.message[:300]}' for error in errors]
