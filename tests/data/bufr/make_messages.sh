#!/bin/bash
# Regenerates the BUFR edition 3 test messages of this folder, and the values
# each of them decodes to, with ecCodes as an independent encoder and decoder.
#
# Made with ecCodes 2.28.0, Debian packages libeccodes-tools and
# libeccodes-data 2.28.0-1 (Debian 12). Another version may encode the same
# rules differently; the script warns when it runs under one.
#
# Usage:  tests/data/bufr/make_messages.sh
#
# For each message NAME listed at the bottom:
#   rules/NAME.filter   bufr_filter rules applied to a sample template of
#                       ecCodes (/usr/share/eccodes/samples)
#   NAME.bufr           the message as a data feed delivers it: most have a
#                       WMO abbreviated heading in front of "BUFR"
#   NAME.expected       header facts and data values as ecCodes decodes them
#                       (expected_values.py, format in README.md)
# The output depends on nothing but the rules, the templates and ecCodes:
# running the script twice gives identical files.
set -euo pipefail

MADE_WITH=2.28.0

here=$(cd "$(dirname "$0")" && pwd)
cd "$here"

for tool in bufr_filter bufr_dump bufr_get codes_info python3; do
    command -v "$tool" >/dev/null || { echo "missing $tool (apt-get install libeccodes-tools python3)" >&2; exit 1; }
done
version=$(codes_info -v)
if [ "$version" != "$MADE_WITH" ]; then
    echo "warning: ecCodes $version, the messages were made with $MADE_WITH" >&2
fi
samples=$(codes_info -s)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

CR=$'\r'
SOH=$'\001'
ETX=$'\003'

# make NAME TEMPLATE STYLE [HEADING [SEQUENCE]]
#   STYLE none   the bare message
#         plain  "HEADING\r\r\n" in front
#         soh    the framing of a WMO transmission: SOH, the channel sequence
#                number and the heading, each line ending in "\r\r\n", in
#                front; "\r\r\n" and ETX behind
make() {
    local name=$1 template=$2 style=$3 heading=${4:-} sequence=${5:-}
    local raw="$work/$name.raw" out="$name.bufr"

    bufr_filter -o "$raw" "rules/$name.filter" "$samples/$template"

    local edition
    edition=$(bufr_get -p edition "$raw")
    if [ "$edition" != 3 ]; then
        echo "$name: edition $edition, not 3" >&2
        exit 1
    fi

    case $style in
    none)
        cat "$raw" >"$out" ;;
    plain)
        { printf '%s\r\r\n' "$heading"; cat "$raw"; } >"$out" ;;
    soh)
        { printf '%s%s%s\n%s%s%s\n%s%s%s\n' "$SOH" "$CR" "$CR" "$sequence" "$CR" "$CR" "$heading" "$CR" "$CR"
          cat "$raw"
          printf '%s%s\n%s' "$CR" "$CR" "$ETX"; } >"$out" ;;
    *)
        echo "$name: unknown style $style" >&2
        exit 1 ;;
    esac

    # The whole message must decode, heading and all.
    bufr_dump "$out" >/dev/null
    python3 expected_values.py "$out" >"$name.expected"

    # Uncompressed messages keep Section 4 at 61 octets or more, but for the
    # one that is short on purpose.
    local compressed s4
    compressed=$(bufr_get -p compressedData "$out")
    s4=$(bufr_get -p section4Length "$out")
    if [ "$compressed" = 0 ] && [ "$s4" -lt 61 ] && [ "$name" != z_short_section4 ]; then
        echo "$name: Section 4 of $s4 octets, fewer than 61" >&2
        exit 1
    fi
    local size
    size=$(stat -c %s "$out")
    if [ "$size" -ge 10240 ]; then
        echo "$name: $size octets, too large" >&2
        exit 1
    fi
    printf '%-32s %5d octets  Section 4 %4d  compressed %s\n' "$out" "$size" "$s4" "$compressed"
}

#    name                          template                     style  heading                   sequence
make a_surface_single              BUFR3.tmpl                   plain  "ISMA01 KWBC 221200"
make b_surface_subsets             BUFR3.tmpl                   soh    "ISMA02 KWBC 221200"      247
make c1_delayed_31001              BUFR3.tmpl                   plain  "IUSZ41 KWBC 221200"
make c2_delayed_31002              BUFR3.tmpl                   plain  "IUPT40 KWBC 221200"
make c3_delayed_compressed         BUFR3.tmpl                   plain  "IUTX01 KWBC 221200"
make c4_sequence_with_replication  BUFR3.tmpl                   none
make d_fixed_replication           BUFR3.tmpl                   plain  "IUSN45 KWBC 221200"
make e_compressed                  BUFR3.tmpl                   soh    "IUAX02 KWBC 221200 RRA"  318
make f1_nested_delayed             BUFR3.tmpl                   plain  "IUSZ42 KWBC 221200"
make f2_delayed_in_fixed           BUFR3.tmpl                   plain  "IUSZ43 KWBC 221200"
make g1_op201_op202                BUFR3.tmpl                   plain  "ISMA11 KWBC 221200"
make g2_op203_positive             BUFR3.tmpl                   plain  "IUSZ44 KWBC 221200"
make g3_op203_negative             BUFR3.tmpl                   plain  "IUSZ45 KWBC 221200"
make g4_op204_associated           BUFR3.tmpl                   plain  "ISMA12 KWBC 221200"
make g5_op205_op208                BUFR3.tmpl                   plain  "ISMA13 KWBC 221200"
make g6_op206                      BUFR3.tmpl                   plain  "ISMA14 KWBC 221200"
make h1_section2_local             BUFR3_local.tmpl             plain  "ISMA10 ECMF 010600"
make h2_section2_satellite         BUFR3_local_satellite.tmpl   none
make z_short_section4              BUFR3.tmpl                   plain  "ISMA99 KWBC 221200"

total=$(cat ./*.bufr | wc -c)
echo "total $total octets"
if [ "$total" -ge 204800 ]; then
    echo "the messages are too large together" >&2
    exit 1
fi
