"""What the public headers tell of the library, and what bindings/interface.toml adds."""

import dataclasses
import pathlib
import re
import tomllib

ROOT = pathlib.Path(__file__).resolve().parents[2]
MARK = "Made by scripts/bindings of include/ and bindings/interface.toml."
DESCRIPTION = ROOT / "bindings" / "interface.toml"
HEADERS = ("lc_mem.h", "lc_log.h", "lc_network.h", "sdk_timer.h", "lc_ipc_mq.h", "lc_ipc_msg.h", "lc_nv.h", "lte_sdk.h",
           "lc_up.h")
RESERVED = re.compile(r"reserved\d*|padding")


class Failure(Exception):
    pass


# ---- What headers tell ----

@dataclasses.dataclass
class Variable:
    """A parameter or a field, with its number of elements if it is an array."""

    kind: str
    name: str
    count: int | None = None
    remark: str = ""


@dataclasses.dataclass
class Function:
    header: str
    returned: str
    name: str
    parameters: list[Variable]
    sentence: str


@dataclasses.dataclass
class Constant:
    header: str
    group: str
    name: str
    value: int | str
    remark: str


ITEM = re.compile(
    r"/\*\*(?P<comment>(?:(?!\*/).)*)\*/"
    r"|^#define (?P<constant>\w+) (?P<value>\S+|\"[^\n]*?\")(?: +/\*\*< (?P<remark>[^\n]*?) \*/)?$"
    r"|^typedef struct \w*\s*\{(?P<fields>[^}]*)\} (?P<record>\w+);"
    r"|^typedef (?P<result>\w+) \(\*(?P<callback>\w+)\)\((?P<arguments>[^;]*)\);"
    r"|^LC_API (?P<returned>[\w ]+?[ *]+)(?P<function>\w+)\((?P<parameters>[^;]*?)\)(?: LC_\w+\([^;]*\))?;",
    re.M | re.S)
FIELD = re.compile(r"([^;]+?[ *])(\w+)(?:\[([^]]+)\])?;\s*(?:/\*\*< (.*?) \*/)?", re.S)


def base_of(kind):
    return re.sub(r"const |\*", "", kind).strip()


def words(text):
    return " ".join(text.split())


class Headers:
    def __init__(self):
        self.constants, self.records, self.callbacks, self.functions = {}, {}, {}, {}
        for header in HEADERS:
            self.read(header, (ROOT / "include" / header).read_text())

    def read(self, header, text):
        group, comment = "", ""
        for item in ITEM.finditer(text):
            if (comment_here := item["comment"]) is not None:
                comment = words(re.sub(r"^ *\*", "", comment_here, flags=re.M))
                if "@}" in comment or "@name" in comment:
                    group = words(named[1]) if (named := re.search(r"@name ([^\n]*)", comment_here)) else ""
            elif name := item["constant"]:
                if (value := self.literal(item["value"])) is not None:
                    self.constants[name] = Constant(header, group, name, value, item["remark"] or "")
            elif name := item["record"]:
                self.records[name] = [Variable(words(kind), field, count and self.count(count), words(remark))
                                      for kind, field, count, remark in FIELD.findall(item["fields"])]
            elif name := item["callback"]:
                self.callbacks[name] = (item["result"], self.variables(item["arguments"]))
            else:
                sentence = re.match(r".*?\.(?= |$)", comment.replace("@p ", ""))[0]
                self.functions[item["function"]] = Function(header, words(item["returned"]), item["function"],
                                                            self.variables(item["parameters"]), sentence)

    def literal(self, text):
        if number := re.fullmatch(r"\(?(-?(?:0x[\dA-Fa-f]+|\d+))u?\)?", text):
            return int(number[1], 0)
        return text[1:-1].encode().decode("unicode_escape") if re.fullmatch(r'"[^"]*"', text) else None

    def count(self, text):
        return sum(self.constants[part].value if part in self.constants else int(part) for part in text.split(" + "))

    def variables(self, text):
        if words(text) in ("void", ""):
            return []
        found = [re.fullmatch(r"(.+?[ *])(\w+)(?:\[(\d+)\])?", words(one))
                 for one in text.split(",") if "..." not in one]
        return [Variable(one[1].strip(), one[2], one[3] and int(one[3])) for one in found]


# ---- What the description adds ----

@dataclasses.dataclass
class Method:
    """A function as both languages have it. Every parameter comes with what the description calls it, or with what
    its type tells."""

    function: Function
    namespace: str
    name: str
    returns: str
    doc: str
    alone: bool
    needs_events: bool
    parameters: list[tuple[Variable, str]]

    @property
    def path(self):
        return f"{self.namespace}.{self.name}"


class Description:
    def __init__(self, headers):
        content = tomllib.loads(DESCRIPTION.read_text())
        self.headers = headers
        self.errors, self.records, self.fields = content["errors"], content["records"], content["fields"]
        self.by_hand = [name for names in content["by_hand"].values() for name in names]
        self.enumerations = {name: [constant for constant in headers.constants.values()
                                    if [constant.header, constant.group] == place]
                             for name, place in content["enumerations"].items()}
        self.methods = [self.method(name, entry) for name, entry in content["functions"].items()]
        excluded = [name for group in content["excluded"] for name in group["functions"]]
        told = [*content["functions"], *self.by_hand, *excluded]
        self.complain(told, exported())

    def complain(self, told, exports):
        """Of what is exported and not told, told twice, or not there."""
        problems = [f"{name} is exported: bind it in [functions] or [by_hand], or say in [[excluded]] why it is not"
                    for name in sorted(exports - set(told))]
        problems += [f"{name} is not exported" for name in sorted(set(told) - exports)]
        problems += [f"{name} stands there more than once"
                     for name in sorted({one for one in told if told.count(one) > 1})]
        problems += [f"{name} has no constants" for name, constants in self.enumerations.items() if not constants]
        if problems:
            raise Failure("\n".join(f"bindings/interface.toml: {problem}" for problem in problems))

    def method(self, name, entry):
        if name not in self.headers.functions:
            raise Failure(f"bindings/interface.toml: {name} is declared in no header")
        function = self.headers.functions[name]
        told = {key: value for key, value in entry.items() if key not in ("name", "returns", "doc", "alone", "needs_events")}
        if unknown := set(told) - {parameter.name for parameter in function.parameters}:
            raise Failure(f"bindings/interface.toml: {name} has no parameter {', '.join(sorted(unknown))}")
        parameters, kind = [], ""
        for parameter in function.parameters:
            is_length = re.match(r"bytes$|body|reply", kind) is not None
            kind = str(told.get(parameter.name, "length" if is_length else self.inferred(parameter)))
            parameters.append((parameter, kind))
        namespace, method = entry["name"].split(".")
        return Method(function, namespace, method, entry.get("returns", "result"),
                      entry.get("doc", function.sentence), entry.get("alone", False),
                      entry.get("needs_events", False), parameters)

    def inferred(self, parameter):
        base = base_of(parameter.kind)
        if parameter.kind == "const char *":
            return "text"
        if not parameter.kind.endswith("*"):
            return "out array" if parameter.count else "number"
        direction = "in" if parameter.kind.startswith("const ") else "out"
        return f"{direction} {'record' if base in self.headers.records else 'number'}"

    def error(self, method):
        return self.errors[method.function.header]

    def meaningful(self, record):
        return [field for field in self.headers.records[record] if not RESERVED.fullmatch(field.name)]

    def given(self, record):
        """What a method gives of a record: None for all of it."""
        if record in self.records:
            return None
        field, = (field for field in self.meaningful(record) if field.name != "result")
        return field

    def namespaces(self):
        found = {}
        for method in self.methods:
            found.setdefault(method.namespace, []).append(method)
        return found

    def needed_records(self):
        """Those that prototypes name, each after those that it holds."""
        ordered = []

        def need(kind):
            base = base_of(kind)
            for part in self.headers.records.get(base, []):
                need(part.kind)
            if base in self.headers.callbacks:
                for part in self.headers.callbacks[base][1]:
                    need(part.kind)
            if base in {*self.headers.records, *self.headers.callbacks} and base not in ordered:
                ordered.append(base)

        for name in self.records:
            need(name)
        for function in self.bound_functions():
            for parameter in function.parameters:
                if parameter.kind not in self.headers.callbacks:
                    need(parameter.kind)
        return ordered

    def bound_functions(self):
        return [method.function for method in self.methods] + [self.headers.functions[name] for name in self.by_hand]


def exported():
    text = re.sub(r"#[^\n]*", "", (ROOT / "lib" / "exports.map").read_text())
    return set(re.findall(r"(\w+);", re.search(r"global:(.*)local:", text, re.S)[1]))
