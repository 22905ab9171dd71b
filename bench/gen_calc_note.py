#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
# Copyright (c) 2026 The Zemvar Notes authors
"""Prints a calculation note of just under 20,000 characters, the same on every run.

    bench/gen_calc_note.py [--plain | --units | --no-prose]

The note is what a person keeps: headed sections of variables, arithmetic with + - * / ^,
parentheses, percentages, functions, measurements with "X in Y" conversions and totals, between
lines of prose and comments. Variants: --plain has no units, --units computes with units only,
--no-prose drops the prose lines. Every variant fills the same length, the note's limit, so
that the benchmarks' figures compare. The calculation benchmarks and a test of the engine read it.
"""
import argparse
import random

LIMIT = 20000  # the characters a note may have and still be evaluated
SEED = 20260114


class Writer:
    """Draws the numbers and names of one note from a fixed seed."""

    def __init__(self, seed):
        self.random = random.Random(seed)

    def pick(self, items):
        return self.random.choice(items)

    def chance(self, probability):
        return self.random.random() < probability

    def number(self, low, high, decimals=None):
        """A number as a person types it: mostly whole, sometimes with cents or a fraction."""
        if decimals is None:
            decimals = self.pick([0, 0, 0, 1, 2])
        value = self.random.uniform(low, high)
        text = f"{value:.{decimals}f}"
        return text if float(text) != 0 else "1"

    def grouped(self, low, high):
        """A whole number with thousands separators, for example 12,400."""
        return f"{self.random.randint(low, high):,}"


# Sections of numbers only: (heading, variable names, typical magnitude).
PLAIN_THEMES = [
    ("Budget", ["rent", "food", "transport", "utilities"], 1500),
    ("Freelance invoice", ["rate", "billed", "expenses"], 90),
    ("Loan", ["principal", "deposit", "fees"], 20000),
    ("Groceries", ["bread", "cheese", "coffee", "fruit"], 8),
    ("Team dinner", ["guests", "menu", "drinks"], 40),
    ("Savings plan", ["salary", "saved", "bonus"], 3200),
    ("Quarterly sales", ["north", "south", "online"], 12000),
]

# Sections with units: (heading, variable names, units of one dimension, typical magnitude).
UNIT_THEMES = [
    ("Road trip", ["leg", "detour"], ["km", "mi", "m"], 300),
    ("Recipe", ["flour", "butter", "sugar"], ["g", "kg", "oz", "lb"], 400),
    ("Drinks for the party", ["juice", "water"], ["l", "ml", "cups", "gal"], 3),
    ("Project hours", ["design", "review"], ["h", "min", "days"], 12),
    ("Backup sizes", ["photos", "music"], ["gb", "mb", "tb"], 250),
    ("Flat", ["kitchen", "bedroom"], ["m2", "sqft"], 18),
    ("Running log", ["monday", "sunday"], ["km", "mi"], 9),
    ("Shipping", ["parcel", "crate"], ["kg", "lb", "g"], 20),
]

TEMPERATURE_PLACES = ["Lisbon", "Oslo", "the oven", "the greenhouse", "Denver", "the fridge"]

PROSE = [
    "Remember to check the receipts before Friday",
    "Ask {name} about the {n} invoices",
    "Buy {n} apples and {m} pears",
    "Meeting at 10:{n2} with the landlord",
    "Room {n} is booked for {m} nights",
    "Call the bank, ask whether the fee is negotiable",
    "Prices went up again this month",
    "{name} owes me for {n} tickets",
    "Order {n} chairs for {m} guests",
    "Pick up the parcel from the post office",
]
NAMES = ["Anna", "Jonas", "Mira", "Tom", "Priya", "Leo"]
COMMENTS = [
    "// last year's figures",
    "// rough estimate",
    "// check with the statement",
    "// before tax",
    "// from the spreadsheet",
]
MONTHS = ["Jan", "Feb", "Mar", "Apr", "May", "Jun", "Jul", "Aug", "Sep", "Oct", "Nov", "Dec"]


def prose_line(w):
    return w.pick(PROSE).format(name=w.pick(NAMES), n=w.random.randint(2, 40),
                                m=w.random.randint(2, 40), n2=w.random.randint(10, 59))


def plain_line(w, names, size):
    """One calculation without units over the section's variables."""
    a, b = w.pick(names), w.pick(names)
    n = lambda: w.number(1, size)  # noqa: E731 - a short draw keeps the table readable
    small = lambda: w.number(2, 12, 0)  # noqa: E731
    kind = w.random.randrange(14)
    if kind == 0:
        return f"{a} + {b} - {n()}"
    if kind == 1:
        return f"({a} + {n()}) * {small()}"
    if kind == 2:
        return f"{a} / {small()}"
    if kind == 3:
        return f"{a} + {w.random.randint(5, 25)}%"
    if kind == 4:
        return f"{a} - {w.random.randint(5, 40)}%"
    if kind == 5:
        return f"{w.random.randint(5, 30)}% of {a}"
    if kind == 6:
        return f"{a} * (1 + {w.number(1, 9, 1)}%) ^ {small()}"
    if kind == 7:
        return f"round({a} / {small()})"
    if kind == 8:
        return f"{w.pick(['sqrt', 'floor', 'ceil', 'abs'])}({a} * {w.number(1, 5, 1)})"
    if kind == 9:
        return f"abs({n()} - {a})"
    if kind == 10:
        return f"{w.grouped(1000, 90000)} + {n()} * {small()}"
    if kind == 11:
        return f"2 * pi * {w.number(1, 40, 1)}"
    if kind == 12:
        return f"{n()} {w.pick(['×', '÷'])} {small()}"
    return f"({n()} - {n()}) / ({small()} + {small()})"


def unit_line(w, names, units, size):
    """One calculation with units of the section's dimension."""
    a = w.pick(names)
    u, v = w.pick(units), w.pick(units)
    n = lambda: w.number(1, size)  # noqa: E731
    kind = w.random.randrange(8)
    if kind == 0:
        return f"{n()} {u} + {n()} {v}"
    if kind == 1:
        return f"{n()} {u} in {v}"
    if kind == 2:
        return f"{a} + {n()} {u} in {v}"
    if kind == 3:
        return f"{a} * {w.number(2, 6, 0)} {w.pick(['in', 'to', 'as'])} {v}"
    if kind == 4:
        return f"({a} + {n()} {u}) / {w.number(2, 9, 0)}"
    if kind == 5:
        return f"{a} + {w.random.randint(5, 30)}%"
    if kind == 6:
        return f"{a} - {n()} {v}"
    return f"{n()} {u}"


def temperature_lines(w):
    lines = []
    for _ in range(w.random.randint(3, 6)):
        scale, other = w.pick([("c", "f"), ("f", "c")])
        high = 40 if scale == "c" else 100
        lines.append(f"{w.number(-10, high, w.pick([0, 1]))} {scale} in {other}")
    return [f"# Temperatures in {w.pick(TEMPERATURE_PLACES)}"] + lines


def section(w, variant):
    """A heading, assignments, calculations, perhaps prose, and a total."""
    with_units = variant == "units" or (variant != "plain" and w.chance(0.5))
    month = f" ({w.pick(MONTHS)})" if w.chance(0.4) else ""
    if with_units and w.chance(0.15):
        lines = temperature_lines(w)
    elif with_units:
        heading, names, units, size = w.pick(UNIT_THEMES)
        names = w.random.sample(names, w.random.randint(1, len(names)))
        lines = [f"# {heading}{month}"]
        lines += [f"{name} = {w.number(1, size)} {w.pick(units)}" for name in names]
        lines += [unit_line(w, names, units, size) for _ in range(w.random.randint(3, 8))]
    else:
        heading, names, size = w.pick(PLAIN_THEMES)
        names = w.random.sample(names, w.random.randint(1, len(names)))
        lines = [f"# {heading}{month}"]
        lines += [f"{name} = {w.number(1, size)}" for name in names]
        lines += [plain_line(w, names, size) for _ in range(w.random.randint(3, 8))]
        if w.chance(0.3):
            lines.insert(1, w.grouped(100, 5000))  # a bare number counts toward the total
    if w.chance(0.3):
        lines.insert(w.random.randint(1, len(lines)), w.pick(COMMENTS))
    if variant != "no-prose":
        for _ in range(w.random.randint(0, 2)):
            lines.insert(w.random.randint(1, len(lines)), prose_line(w))
    lines.append(w.pick(["total", "total", "sum", "Total"]))
    return lines


def note(variant):
    """The whole note: sections while they fit, then short lines up to the limit."""
    w = Writer(SEED)
    text = ""
    while True:
        block = "\n".join(section(w, variant)) + "\n\n"
        if len(text) + len(block) > LIMIT - 100:  # room for the last section's heading
            break
        text += block
    text += "# Odds and ends\n"
    while True:
        if variant == "units":
            unit, other = w.pick([("km", "m"), ("kg", "g"), ("h", "min")])
            line = f"{w.number(1, 99, 0)} {unit} in {other}"
        else:
            line = f"{w.number(1, 99, 0)} + {w.number(1, 99, 0)}"
        if len(text) + len(line) + 1 >= LIMIT:
            return text
        text += line + "\n"


def main():
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    variants = parser.add_mutually_exclusive_group()
    variants.add_argument("--plain", dest="variant", action="store_const", const="plain",
                          help="no units")
    variants.add_argument("--units", dest="variant", action="store_const", const="units",
                          help="every calculation with units")
    variants.add_argument("--no-prose", dest="variant", action="store_const", const="no-prose",
                          help="no prose lines")
    args = parser.parse_args()
    print(note(args.variant or "full"), end="")


if __name__ == "__main__":
    main()
