#!/usr/bin/env python3
"""Every field of the public records has a comment of its own.

    check_fields.py HEADER ...    names the fields without one and ends with status 1
    check_fields.py --self-test   shows that it finds them

A field's comment stands on the field's line or on the lines right above it. One line declares one
field. Functions and private parts of classes in a record are no fields.
"""
import re
import sys

RECORD = re.compile(r"^(?:typedef )?(?:struct|union)(?:\s+__attribute__\(\(\w+\)\))?\s+(\w+)\s*\{")
FIELD = re.compile(r"^    [A-Za-z_][^()={]*?[\s*&](\w+)(?:\[[^\]]*\])*(?:\s*=\s*[^;,]*)?\s*(,|;)")
FUNCTION_POINTER = re.compile(r"^    [A-Za-z_][\w\s*]*\(\*(\w+)\)\s*\(")


def fields_of(lines):
    """Yields (line number, record, field, whether it has a comment) of one header."""
    record = None
    depth = 0
    private = False
    above = False  # the line above ends a comment that stands by itself
    in_comment = False
    by_itself = False
    number = 0
    while number < len(lines):
        line = lines[number]
        number += 1
        stripped = line.strip()
        if in_comment:
            in_comment = "*/" not in line
            above = by_itself and not in_comment
            continue
        if stripped.startswith("/*"):
            in_comment = "*/" not in line
            by_itself = True
            above = not in_comment
            continue
        if record is None:
            match = RECORD.match(line)
            if match and ";" not in line:
                record, depth, private = match.group(1), 1, False
            above = False
            continue
        code = re.sub(r"/\*.*", "", line)
        if depth == 1 and stripped in ("private:", "public:"):
            private = stripped == "private:"
        elif depth == 1 and code.strip() and not code.lstrip().startswith(("using ", "static ", "}")):
            first = number
            while not re.search(r"[;{}]", code) and number < len(lines):
                code += " " + re.sub(r"/\*.*", "", lines[number]).strip()
                line = lines[number]
                number += 1
            code = re.sub(r"\s+\[", "[", code)
            match = FUNCTION_POINTER.match(code) or FIELD.match(code)
            if match and not private:
                yield first, record, match.group(1), above or "/*" in line
                if match.re is FIELD and match.group(2) == ",":
                    yield first, record, "what follows it on the line", False
            in_comment = "/*" in line and "*/" not in line
            by_itself = False
        depth += code.count("{") - code.count("}")
        above = False
        if depth == 0:
            record = None


def check(name, text):
    """The complaints about one header, and the number of its fields."""
    fields = list(fields_of(text.splitlines()))
    return [f"{name}:{line}: {record}.{field} has no comment"
            for line, record, field, commented in fields if not commented], len(fields)


SAMPLE = """\
typedef struct __attribute__((packed)) A_S {
    int32_t good; /* mm */
    int32_t bad;
    /* Right above. */
    float above[4];
    float long_one[4]; /* begins here
                          and goes on; it */
    float after_long;
    int32_t
        wrapped[4];    /* x, y */
    int32_t p, q; /* two at once */
    void (*call)(int a, void* b); /* called */
    void (*bare)(int a);
    uint32_t const* pointer;
    std::vector<std::pair<int, int>> list;
} A_S;

struct B_S {
    using Row = int32_t[3];
    int32_t value = 0; /* set */
    int32_t naked = 0;
    bool is_set() const { return value != 0; }
    void set() {
        int32_t inner = 1;
        value = inner;
    }

  private:
    int32_t hidden;
};
int32_t no_field;
"""


def self_test():
    found, count = check("sample", SAMPLE)
    named = [complaint.split(": ")[1].split(" has ")[0] for complaint in found]
    expected = ["A_S.bad", "A_S.after_long", "A_S.what follows it on the line", "A_S.bare",
                "A_S.pointer", "A_S.list", "B_S.naked"]
    if named != expected or count != 14:
        print(f"the check found {named} among {count} fields\ninstead of {expected} among 14")
        return 1
    print("finds every field without a comment")
    return 0


def main(arguments):
    if arguments == ["--self-test"]:
        return self_test()
    if not arguments:
        print(__doc__)
        return 2
    complaints = []
    total = 0
    for name in arguments:
        with open(name, encoding="utf-8") as header:
            found, count = check(name, header.read())
        complaints += found
        total += count
    print("\n".join(complaints + [f"{total} fields, {len(complaints)} without a comment"]))
    return 1 if complaints or total == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1:]))
