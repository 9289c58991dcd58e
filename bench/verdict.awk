# Holds counted figures against a table: awk -f bench/verdict.awk COUNTED TABLE. Status 1 when one has risen by more than its
# margin, or is missing.
function verdict(name, now, then, margin) {
    if (now == "") return name == "calls.command" ? "not counted" : "MISSING"
    if (now > then * (1 + margin / 100)) return "RISEN"
    return now < then * (1 - margin / 100) ? "fallen: lower the figure" : ""
}
NR == FNR {counted[$1] = $2; next}
/^[a-z]/ {
    word = verdict($1, counted[$1] == "" ? "" : counted[$1] + 0, $2, $3)
    printf "%-22s %10s  (%s, margin %d %%) %s\n", $1, counted[$1], $2, $3, word
    bad += word == "RISEN" || word == "MISSING"
}
END {exit bad > 0}
