"""The package for Python."""

import re
import textwrap

from description import MARK, base_of
from pieces import Piece, broken, pieces_of

WIDTH = 115


def flowing(begin, parts, end, indent):
    return broken(begin, parts, end, indent, WIDTH)


NUMBERS = {"uint32_t": "c_uint32", "int32_t": "c_int32", "uint16_t": "c_uint16", "uint64_t": "c_uint64",
           "uint8_t": "c_uint8", "int": "c_int", "uintptr_t": "c_size_t", "size_t": "c_size_t", "char": "c_char"}


def ctype(kind, headers):
    base = base_of(kind)
    if kind == "void":
        return "None"
    if re.fullmatch(r"(const )?char \*", kind):
        return "ctypes.c_char_p"
    if kind.endswith("*") or base == "mq_cb":
        return "ctypes.c_void_p"
    if base == "struct sockaddr_un":
        return "(ctypes.c_uint8 * 110)"
    if base == "struct in_addr":
        return "in_addr"
    return base if base in headers.records or base in headers.callbacks else f"ctypes.{NUMBERS[base]}"


def python_declarations(description):
    headers = description.headers
    lines = ['"""The library\'s records and functions as ctypes has them."""', "", "import ctypes", "",
             "from lterouter._library import declare, in_addr"]
    for name in description.needed_records():
        if name in headers.callbacks:
            returned, parameters = headers.callbacks[name]
            kinds = ", ".join(ctype(kind, headers) for kind in [returned, *(each.kind for each in parameters)])
            lines += ["", "", f"{name} = ctypes.CFUNCTYPE({kinds})"]
            continue
        lines += ["", "", f"class {name}(ctypes.Structure):", "    _fields_ = ["]
        for field in headers.records[name]:
            kind = ctype(field.kind, headers) + (f" * {field.count}" if field.count else "")
            lines.append(f'        ("{field.name}", {kind}),')
        lines += ["    ]"]
    lines += ["", ""]
    for function in description.bound_functions():
        kinds = [ctype(function.returned, headers)]
        kinds += ["ctypes.c_void_p" if each.count or each.kind in headers.callbacks else ctype(each.kind, headers)
                  for each in function.parameters]
        lines += flowing("declare(", [f'"{function.name}"', *kinds], ")", 8)
    return lines


def members(constants):
    """Names without what all of them begin with."""
    names = [constant.name for constant in constants]
    common = 0
    while len({name[:common + 1] for name in names}) == 1:
        common += 1
    cut = names[0][:common].rfind("_") + 1
    return [(constant.name[cut:], constant) for constant in constants]


def python_constants(description):
    lines = ['"""The constants of the headers."""', "", "import enum"]
    for name, constants in description.enumerations.items():
        lines += ["", "", f"class {name}(enum.IntEnum):", f'    """{constants[0].group}."""', ""]
        lines += [f"    {member} = {spelt(constant)}  # {constant.remark}" for member, constant in members(constants)]
    grouped = {constant.name for constants in description.enumerations.values() for constant in constants}
    lines += ["", ""]
    for constant in description.headers.constants.values():
        if constant.name not in grouped:
            value = quoted(constant.value) if isinstance(constant.value, str) else spelt(constant)
            lines.append(f"{constant.name} = {value}" + (f"  # {constant.remark}" if constant.remark else ""))
    return lines


def spelt(constant):
    return hex(constant.value) if constant.value > 0xFFFF else str(constant.value)


def quoted(text):
    return '"' + text.replace("\\", "\\\\").replace("\r", "\\r").replace("\n", "\\n") + '"'


def python_errors(description):
    lines = ['"""The exceptions of the families of functions."""', "",
             "from lterouter._library import Error"]
    for header, entry in description.errors.items():
        lines += ["", "", f"class {entry['name']}(Error):"]
        if codes := entry.get("codes"):
            lines += [f'    """code is a {codes}."""', "", "    texts = {"]
            lines += [f'        {constant.value}: "{constant.remark}",' for constant in description.enumerations[codes]
                      if constant.value != 0]
            lines += ["    }"]
        else:
            lines += [f'    """Of the functions of {header}."""', "", f'    text = "{entry["text"]}"']
    return lines


def python_value(field, source, description):
    """A field's type, and its value from a record."""
    if field.kind in description.records and field.count:
        name = description.records[field.kind]
        return f"list[{name}]", f"[{name}.of(each) for each in {source} if any(bytes(each))]"
    if field.kind == "char":
        return "str", f"decoded({source})"
    return ("tuple[int, ...]", f"tuple({source})") if field.count else ("int", source)


def python_records(description):
    lines = ['"""The records that methods give."""', "", "from __future__ import annotations", "",
             "import dataclasses", "", "from lterouter import _declared",
             "from lterouter._library import decoded, known",
             *flowing("from lterouter.constants import ", sorted(set(description.fields.values())), "", 8)]
    for record, name in description.records.items():
        lines += ["", "", "@dataclasses.dataclass(frozen=True)", f"class {name}:", f'    """{record} of C."""', ""]
        values = []
        for field in description.meaningful(record):
            kind, value = python_value(field, f"raw.{field.name}", description)
            if enumeration := description.fields.get(f"{record}.{field.name}"):
                kind, value = f"{enumeration} | int", f"known({enumeration}, {value})"
            lines.append(f"    {field.name}: {kind}" + (f"  # {field.remark}" if field.remark else ""))
            values.append(value)
        lines += ["", "    @classmethod", f"    def of(cls, raw: _declared.{record}) -> {name}:",
                  *flowing("        return cls(", values, ")", 12)]
    return lines


def in_seconds(name):
    return name.removesuffix("_ms").replace("milliseconds", "seconds")


def python_piece(parameter, kind, previous, description):
    name, base = parameter.name, base_of(parameter.kind)
    word, _, number = kind.partition(" ")
    if kind == "number":
        if base == "struct in_addr":
            return Piece(f"address({name})", (f"{name}: str",))
        return Piece(f"{'uint32' if base == 'uint32_t' else 'int32'}({name})", (f"{name}: int",))
    if kind == "in number":
        return Piece(f"ctypes.byref(ctypes.{NUMBERS[base]}({base.removesuffix('_t')}({name})))", (f"{name}: int",))
    if kind == "in record":
        fields = description.meaningful(base)
        values = [f"fitting({field.name}, {field.count})" if field.kind == "char" else f"uint32({field.name})"
                  for field in fields]
        filled = ", ".join(f"{field.name}={value}" for field, value in zip(fields, values))
        return Piece("ctypes.byref(record)",
                     tuple(f"{field.name}: {'str' if field.kind == 'char' else 'int'}" for field in fields),
                     (f"record = _declared.{base}({filled})",))
    if kind == "out record":
        field = description.given(base)
        given = python_value(field, f"{name}.{field.name}", description) if field else \
            (description.records[base], f"{description.records[base]}.of({name})")
        given = (given[0], f"int({given[1]})") if given[0] == "int" else given
        return Piece(f"ctypes.byref({name})", (), (f"{name} = _declared.{base}()",), given)
    if kind == "out number":
        return Piece(f"ctypes.byref({name})", (), (f"{name} = ctypes.{NUMBERS[base]}()",), ("int", f"{name}.value"))
    if kind == "out array":
        values = ", ".join(f"{name}[{index}]" for index in range(parameter.count))
        return Piece(name, (), (f"{name} = (ctypes.{NUMBERS[base]} * {parameter.count})()",),
                     (f"tuple[{', '.join(['int'] * parameter.count)}]", f"({values})"))
    if kind == "length":
        if parameter.kind.endswith("*"):
            return Piece(f"ctypes.byref({name})", (), (f"{name} = ctypes.c_uint32(len({previous}))",))
        return Piece(f"len({previous})")
    if word == "out":
        return Piece(name, (), (f"{name} = ctypes.create_string_buffer({int(number) + 1})",),
                     ("str", f"decoded({name}.value)"))
    if word == "answer":
        return Piece(name, (), (f"{name} = ctypes.create_string_buffer({int(number) + 5})",),
                     ("str", f"answered(ERROR, {name}.raw)"))
    if word == "reply":
        return Piece(name, (), (f"{name} = ctypes.create_string_buffer({number})",),
                     ("bytes", f"{name}.raw[: {name}_len.value]"))
    if word == "body":
        return Piece(f"at_most({name}, {number})", (f"{name}: bytes",))
    if word == "bytes":
        return Piece(f"exactly({name}, {number})" if number else f"raw({name})", (f"{name}: bytes",))
    simple = {"text": (f"encoded({name})", f"{name}: str"), "line": (f"line({name})", f"{name}: str"),
              "copy": (f"ctypes.create_string_buffer(encoded({name}))", f"{name}: str"),
              "text?": (f"None if {name} is None else encoded({name})", f"{name}: str | None = None"),
              "flag": (f"int({name})", f"{name}: bool"),
              "seconds": (f"milliseconds({in_seconds(name)})", f"{in_seconds(name)}: float")}
    if kind in simple:
        return Piece(simple[kind][0], (simple[kind][1],))
    return Piece(str(int(kind)))


def python_method(method, description):
    is_client = method.namespace == "client"
    pieces = pieces_of(method, python_piece, description)
    error = f'{description.error(method)["name"]}, "{method.path}"'
    call = [f"lib.{method.function.name}(", [piece.argument for piece in pieces], ")"]
    given = [piece.given for piece in pieces if piece.given]
    returned, value = given[0] if given else ("None", "")
    before, after = {
        "result": (f"check({error}, ", ")"), "sent": (f"check_sent({error}, ", ")"),
        "errno": (f"check_errno({error}, ", ")"), "match": (f"return equal({error}, ", ")"),
        "value": ("return int(", ")"), "flag": ("return bool(", ")"), "zero": ("return not ", "")}[method.returns]
    if method.function.returned == "const char *":
        before, after, returned = "return decoded(", ")", "str"
    elif method.function.returned == "void":
        before, after = "", ""
    elif before.startswith("return"):
        returned = "int" if method.returns == "value" else "bool"
    parameters = [*(["self"] if is_client else []), *(each for piece in pieces for each in piece.parameters)]
    lines = flowing(f"def {method.name}(", parameters, f") -> {returned}:", 8)
    lines += textwrap.wrap(f'"""{method.doc}"""', WIDTH, initial_indent="    ", subsequent_indent="    ")
    body = [*([f"self.require_{'events' if method.needs_events else 'open'}()"] if is_client else []), *(line for piece in pieces for line in piece.setup)]
    lines += [f"    {line}" for line in body]
    if method.alone:
        lines.append("    with alone():")
        before = f"    {before}"
    lines += flowing(f"    {before}{call[0]}", call[1], call[2] + after, 8)
    return lines + ([f"    return {value.replace('ERROR', error)}"] if value else [])


HELPERS = ("address", "alone", "answered", "at_most", "check", "check_errno", "check_sent", "decoded", "encoded", "equal", "exactly", "fitting", "int32",
           "lib", "line", "milliseconds", "raw", "uint32", "uint8")


def imports(code, description):
    """What the code of a module uses."""
    used = set(re.findall(r"[A-Za-z_]\w*(?=[(.,\]]| \|)|(?<=-> )\w+", code))
    lines = [*(["import ctypes", ""] if "ctypes" in used else []),
             *(["from lterouter import _declared"] if "_declared" in used else [])]
    for module, names in (("_library", HELPERS), ("errors", [entry["name"] for entry in description.errors.values()]),
                          ("records", description.records.values())):
        if here := sorted(used & set(names)):
            begin, end = ("(", ")") if len(here) > 9 else ("", "")
            lines += flowing(f"from lterouter.{module} import {begin}", here, end, 8)
    return lines


def python_namespace(namespace, methods, description):
    code = []
    for method in methods:
        code += ["", "", *python_method(method, description)]
    if namespace == "client":
        code = ["", "", "class Requests:", '    """What a started client asks the WAN manager for."""', "",
                "    def require_open(self) -> None:", '        """Raises ValueError unless the client is started."""',
                "        raise NotImplementedError", "", "    def require_events(self) -> None:",
                '        """Raises ValueError unless it is started with events."""',
                "        raise NotImplementedError",
                *(f"    {line}" if line else "" for line in "\n".join(code).replace("\n\n\n", "\n\n")[1:].split("\n"))]
    headers = ", ".join(sorted({method.function.header for method in methods}))
    tells = "which states their contracts" if "," not in headers else "which state their contracts"
    return [f'"""Functions of {headers}, {tells}."""', "",
            *imports("\n".join(code), description), *code]


def python_files(description):
    modules = {"_declared": python_declarations(description), "constants": python_constants(description),
               "errors": python_errors(description), "records": python_records(description)}
    for namespace, methods in description.namespaces().items():
        if namespace not in ("messaging", "timers", "client"):
            modules[namespace] = python_namespace(namespace, methods, description)
        else:
            modules[f"_{namespace}"] = python_namespace(namespace, methods, description)
    return {f"bindings/python/lterouter/{name}.py": [f"# {MARK}", *lines] for name, lines in modules.items()}
