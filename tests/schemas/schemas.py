"""The JSON schemas of plans/schema, for tests: a schema by the name that a document gives itself."""
import json
import pathlib

import jsonschema

SCHEMAS = pathlib.Path(__file__).absolute().parents[2] / 'plans' / 'schema'


def closed(schema):
    """The same schema, but a field that it does not list is wrong: what is written has to be described."""
    if isinstance(schema, list):
        return [closed(part) for part in schema]
    if not isinstance(schema, dict):
        return schema
    out = {key: closed(part) for key, part in schema.items()}
    if 'properties' in schema and schema.get('type') == 'object':
        out.setdefault('unevaluatedProperties' if '$ref' in schema else 'additionalProperties', False)
    return out


def load(name):
    schema = json.loads((SCHEMAS / name).read_text())
    jsonschema.Draft202012Validator.check_schema(schema)
    return schema


def problems(schema, document, resolver=None):
    """What is wrong with the document, a line each; a schema that is none is an error."""
    errors = jsonschema.Draft202012Validator(schema, resolver=resolver).iter_errors(document)
    return [f'{"/".join(map(str, error.absolute_path))}: {error.message[:300]}' for error in errors]


RUN = load('run.schema.json')
DOCUMENTS = load('documents.schema.json')


def forms():
    """All that documents.schema.json describes."""
    return {DOCUMENTS['$defs'][part['$ref'].split('/')[-1]]['properties']['schema']['const'] for part in DOCUMENTS['oneOf']}


def document_problems(document):
    """Of what a command prints: by the form that the document names."""
    if not isinstance(document, dict) or not str(document.get('schema')).startswith('sensorcal.'):
        return ['no object that names its form']
    name = document['schema'].removeprefix('sensorcal.').split('/')[0]
    if name == 'run':
        return problems(closed(RUN), document)
    if name not in DOCUMENTS['$defs']:
        return [f'nothing describes {document["schema"]}']
    schema = {**closed(DOCUMENTS), '$ref': f'#/$defs/{name}'}
    del schema['oneOf']
    # Records within other documents lie in the file beside.
    resolver = jsonschema.RefResolver((SCHEMAS / 'documents.schema.json').as_uri(), schema)
    return problems(schema, document, resolver)
