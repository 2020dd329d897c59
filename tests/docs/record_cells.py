"""What docs/formats/snapshot.md says of a field besides its meaning, out of the schemas."""

import json
import re

from pages import ROOT


def schemas():
    """The properties of each record, by its name."""
    found = {}
    for file in sorted((ROOT / "docs/schema").glob("*.json")):
        definitions = json.loads(file.read_text(encoding="utf-8"))["$defs"]
        found.update({name: each["properties"] for name, each in definitions.items()})
    return found


def type_cell(schema):
    if "$ref" in schema:
        name = schema["$ref"].rpartition("/")[2]
        return f"[{name}](#{name.lower().replace('.', '')})"
    if "enum" in schema:
        return "word"
    if schema["type"] == "array":
        return "list of " + type_cell(schema["items"])
    if schema["type"] == "object":
        return "object of " + type_cell(schema["additionalProperties"])
    if schema["type"] == "string":
        return {"date-time": "time", "uuid": "UUID", None: "text"}[schema.get("format")]
    return schema["type"]


def missing_cell(schema):
    rule, _, besides = schema["x-reader"].partition("; may be ")
    default = f"`{json.dumps(schema['default'])}`" if "default" in schema else ""
    cell = {
        "required": "required",
        "missing or null: no value": "optional",
        "missing or null: the default": default,
        "missing or null: the time of reading": "time of reading",
        "missing, null or unreadable: no value": "optional, also when unreadable",
        "missing, null or unreadable: the default": f"{default}, also when unreadable",
        "missing, null or no list: an empty list; a bad element is dropped": "lenient",
    }[rule]
    return cell + ("; also seconds" if besides else "")


def words(schema):
    """The words that a field of type `word` can be."""
    return ", ".join(f"`{word}`" for word in schema.get("enum", []))


def rows(text):
    """The rows of the tables of records in a page: (record, key) -> type, meaning, missing."""
    found = {}
    for name, body in re.findall(r"(?ms)^## ([A-Z][\w.]+)\n(.*?)(?=^## |\Z)", text):
        for key, *cells in re.findall(r"(?m)^\| `(\w+)` \| (.*?) \| (.*?) \| (.*?) \|$", body):
            found[name, key] = cells
    return found
