"""The part of the module for Lua that calls functions."""

from description import MARK, base_of
from pieces import Piece, broken, pieces_of

WIDTH = 104


def lua_push(field, source, description):
    """A line that pushes a field's value."""
    if field.kind in description.records:
        return f"push_{field.kind}s(L, {source}, {field.count});"
    return f"push_{'signed' if field.kind == 'int32_t' else 'unsigned'}(L, {source});"


def lua_field(field):
    """A line that sets a field of the table on the top."""
    value = f"record->{field.name}"
    if field.kind == "char":
        size = f"{value}, sizeof {value}" if field.count else f"&{value}, 1"
        return f'set_text(L, "{field.name}", {size});'
    if field.count:
        return f'set_numbers(L, "{field.name}", {value}, {field.count});'
    return f'set_{"signed" if field.kind == "int32_t" else "unsigned"}(L, "{field.name}", {value});'


def lua_records(description):
    lines = []
    arrays = {field.kind for fields in description.headers.records.values() for field in fields if field.count}
    for record in sorted(description.records, key=lambda name: name not in arrays):
        fields = description.meaningful(record)
        linkage = "static " if record not in ("lct_link_status", "lct_iface_status") else ""
        lines += ["", f"{linkage}void push_{record}(lua_State *L, const {record} *record)", "{",
                  f"    lua_createtable(L, 0, {len(fields)});"]
        lines += [*(f"    {lua_field(field)}" for field in fields), "}"]
        if record in arrays:
            lines += ["", f"static void push_{record}s(lua_State *L, const {record} *records, int count)", "{",
                      f"    static const {record} none;", "    int found = 0;",
                      "    lua_createtable(L, count, 0);", "    for (int i = 0; i < count; i++) {",
                      "        if (memcmp(&records[i], &none, sizeof none) != 0) {",
                      f"            push_{record}(L, &records[i]);",
                      "            lua_rawseti(L, -2, ++found);", "        }", "    }", "}"]
    return lines


def lua_piece(parameter, kind, previous, description):
    """INDEX stands for the argument's number."""
    name, base = parameter.name, base_of(parameter.kind)
    word, _, number = kind.partition(" ")
    if kind in ("number", "in number"):
        checked = {"struct in_addr": "address", "uint32_t": "uint32", "uint8_t": "uint8"}.get(base, "int32")
        return Piece(name if kind == "number" else f"&{name}", (name,),
                     (f"const {base} {name} = check_{checked}(L, INDEX);",))
    if kind == "in record":
        fields = description.meaningful(base)
        return Piece(f"&{name}", tuple(field.name for field in fields),
                     (f"{base} {name} = {{0}};",
                      *(f"check_field(L, INDEX, {name}.{field.name}, sizeof {name}.{field.name});"
                        if field.kind == "char" else f"{name}.{field.name} = check_uint32(L, INDEX);"
                        for field in fields)))
    if kind == "out record":
        field = description.given(base)
        return Piece(f"&{name}", (), (f"{base} {name} = {{0}};",),
                     (lua_push(field, f"{name}.{field.name}", description) if field else f"push_{base}(L, &{name});",))
    if kind == "out number":
        return Piece(f"&{name}", (), (f"{base} {name} = 0;",), (f"push_unsigned(L, {name});",))
    if kind == "out array":
        return Piece(name, (), (f"{base} {name}[{parameter.count}] = {{0}};",),
                     tuple(f"push_unsigned(L, {name}[{index}]);" for index in range(parameter.count)))
    if kind == "length":
        if parameter.kind.endswith("*"):
            return Piece(f"&{name}", (), (f"uint32_t {name} = sizeof {previous};",))
        cast = "" if base == "size_t" else f"({base})"
        return Piece(f"{cast}{previous}_size")
    if word == "out":
        return Piece(name, (), (f"char {name}[{int(number) + 1}] = {{0}};",), (f"lua_pushstring(L, {name});",))
    if word == "answer":
        return Piece(name, (), (f"char {name}[{int(number) + 5}] = {{0}};",), (f"ANSWER {name}",))
    if word == "reply":
        return Piece(name, (), (f"char {name}[{number}];",), (f"lua_pushlstring(L, {name}, {name}_len);",))
    if kind == "bytes":
        return Piece(name, (name,), (f"size_t {name}_size;",
                                     f"const char *{name} = luaL_checklstring(L, INDEX, &{name}_size);"))
    if word == "body":
        return Piece(name, (name,), (f"size_t {name}_size;",
                                     f"const char *{name} = check_body(L, INDEX, &{name}_size);"))
    simple = {"text": f"const char *{name} = check_text(L, INDEX);",
              "line": f'char *{name} = check_copy(L, INDEX, " ");',
              "copy": f'char *{name} = check_copy(L, INDEX, "");',
              "text?": f"const char *{name} = optional_text(L, INDEX);",
              "flag": f"const int {name} = lua_toboolean(L, INDEX);",
              "seconds": f"const {base} {name} = ({base})check_milliseconds(L, INDEX);",
              f"bytes {number}": f"const uint8_t *{name} = check_bytes(L, INDEX, {number});"}
    return Piece(name, (name,), (simple[kind],)) if kind in simple else Piece(str(int(kind)))


def lua_method(method, description):
    pieces = pieces_of(method, lua_piece, description)
    index, setup = (2 if method.namespace == "client" else 1), []
    for line in (line for piece in pieces for line in piece.setup):
        setup.append(line.replace("INDEX", str(index)))
        index += "INDEX" in line
    pushes = [line for piece in pieces for line in piece.given]
    family = method.function.header.removesuffix(".h")
    arguments = [piece.argument for piece in pieces]
    path = method.path.replace("client.", "client:")
    error = f'&{family}_errors, "{path}"'
    before, condition, after = {
        "result": ("const int64_t code = ", "code != 0", f"fail(L, {error}, code)"),
        "sent": ("const uint32_t sent = ", "sent != 1", f"fail(L, {error}, sent)"),
        "errno": ("const int code = ", "code != 0", f'fail_errno(L, "{path}", code)'),
        "match": ("const uint32_t code = ", "code != NV_SUCCESS && code != NV_ERR_DIFFER", f"fail(L, {error}, code)"),
        "value": ("push_unsigned(L, ", "", ""), "flag": ("lua_pushboolean(L, ", "", ""),
        "zero": ("lua_pushboolean(L, ", "", "")}[method.returns]
    end = ";" if condition else {"flag": " != 0);", "zero": " == 0);", "value": ");"}[method.returns]
    if method.function.returned == "const char *":
        before, condition, end, pushes = "lua_pushstring(L, ", "", ");", []
    elif method.function.returned == "void":
        before, condition, end, pushes = "", "", ";", ["lua_pushboolean(L, 1);"]
    required = ["require_events(L);" if method.needs_events else "require_client(L);"]
    required = required if method.namespace == "client" else []
    lines = ["", f"static int call_{method.namespace}_{method.name}(lua_State *L)", "{"]
    lines += [f"    {line}" for line in [*required, *setup]]
    if method.alone:
        lines += ["    if (!claim_endpoint())", f'        return fail_claim(L, "{path}");']
    call = f"    {before}{method.function.name}("
    if before.endswith("= ") and len(call + ", ".join(arguments) + end) >= WIDTH:
        lines.append(f"    {before[:-1]}")
        call = f"        {method.function.name}("
    lines += broken(call, arguments, f"){end}", len(call), WIDTH)
    if method.alone:
        lines.append("    release_endpoint();")
    if condition:
        lines += [f"    if ({condition})", f"        return {after};"]
        if answer := next((push for push in pushes if push.startswith("ANSWER ")), None):
            return lines + [f"    return push_answer(L, {answer.split()[1]}, {error});", "}"]
        pushes = pushes or ["lua_pushboolean(L, code == NV_SUCCESS);" if method.returns == "match"
                            else "lua_pushboolean(L, 1);"]
    lines += [f"    {push}" for push in pushes]
    return lines + [f"    return {len(pushes) + int(before.endswith('(L, '))};", "}"]


def table(begin, rows, end="};"):
    return [begin, *(f"    {{{row}}}," for row in rows), end]


def lua_files(description):
    lines = [f"/* {MARK} */", '#include "lterouter.h"', "", "#include <string.h>", ""]
    for header, entry in description.errors.items():
        family = header.removesuffix(".h")
        if codes := entry.get("codes"):
            constants = [constant for constant in description.enumerations[codes] if constant.value != 0]
            lines += table(f"static const struct error_text {family}_texts[] = {{",
                           [f'{constant.name}, "{constant.remark}"' for constant in constants])
            lines += [f"const struct errors {family}_errors = {{{family}_texts, {len(constants)}, NULL}};", ""]
        else:
            lines += [f'const struct errors {family}_errors = {{NULL, 0, "{entry["text"]}"}};', ""]
    lines = lines[:-1] + lua_records(description)
    for method in description.methods:
        lines += lua_method(method, description)
    lines += ["", "/* clang-format off */"]
    namespaces = description.namespaces()
    for namespace, methods in namespaces.items():
        linkage = "" if namespace == "client" else "static "
        name = "client_requests" if namespace == "client" else f"{namespace}_functions"
        lines += table(f"{linkage}const luaL_Reg {name}[] = {{",
                       [f'"{method.name}", call_{namespace}_{method.name}' for method in methods] + ["NULL, NULL"])
        lines += [""]
    lines += table("const struct namespace namespaces[] = {",
                   [f'"{namespace}", {namespace}_functions' for namespace in namespaces if namespace != "client"]
                   + ["NULL, NULL"])
    constants = description.headers.constants.values()
    for kind, name in ((int, "number"), (str, "text")):
        lines += ["", *table(f"const struct {name}_constant {name}_constants[] = {{",
                             [f'"{constant.name}", {constant.name}' for constant in constants
                              if isinstance(constant.value, kind)] + ["NULL, 0" if kind is int else "NULL, NULL"])]
    return {"bindings/lua/calls.c": [*lines, "/* clang-format on */"]}
