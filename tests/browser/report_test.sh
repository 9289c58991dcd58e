#!/usr/bin/env bash
# Opens the page of `celldctl report` in a real browser, driven by the W3C WebDriver protocol. Status 77 (skipped) where there is
# none: packages chromium and chromium-driver.
#
#   report_test.sh CELLDCTL FOLDER [SCREENSHOT]
# FOLDER has at.recording, journal and bus.log. With SCREENSHOT the page is clicked and photographed.
set -u
readonly CELLDCTL=$1 FOLDER=$2 SCREENSHOT=${3:-}

driver=$(PATH=$PATH:/usr/lib/chromium command -v chromedriver) && command -v chromium >/dev/null && command -v curl >/dev/null || {
    echo "SKIPPED: chromium, chromium-driver and curl are not all installed"
    exit 77
}
work=$(mktemp -d) || exit 1
driver_pid=''
session=''
finish() {
    [[ -n $session ]] && curl -s -o "$work/end" -X DELETE "$server/session/$session"
    [[ -n $driver_pid ]] && kill "$driver_pid" && wait "$driver_pid"
    rm -rf "$work"
}
trap finish EXIT
fail() {
    echo "FAILED: $*"
    exit 1
}

"$driver" --port=0 >"$work/driver.log" 2>&1 &
driver_pid=$!
for ((try = 0; try < 300; try++)); do
    port=$(sed -n 's/.*started successfully on port \([0-9]*\).*/\1/p' "$work/driver.log")
    [[ -n $port ]] && break
    kill -0 "$driver_pid" || fail "chromedriver has ended: $(cat "$work/driver.log")"
    sleep 0.1 # until it listens
done
readonly server=http://127.0.0.1:$port

post() { # PATH BODY: what the driver answers
    curl -sS --max-time 60 -H 'Content-Type: application/json' -d "$2" "$server/session$1"
}
run() { # JAVASCRIPT without double quotes: the text it returns
    local answer
    answer=$(post "/$session/execute/sync" "{\"script\":\"$1\",\"args\":[]}")
    sed -n 's/^{"value":"\(.*\)"}$/\1/p' <<<"$answer"
}
expect() { # WHAT JAVASCRIPT REGEX
    local value
    value=$(run "$2")
    [[ $value =~ $3 ]] || fail "$1: '$value' does not match '$3'"
}

"$CELLDCTL" report "$FOLDER/at.recording" "$FOLDER/journal" "$FOLDER/bus.log" -o "$work/report.html" || fail "no report"
arguments='"--headless=new","--no-sandbox","--disable-gpu","--disable-dev-shm-usage","--hide-scrollbars","--window-size=1200,800"'
session=$(post "" "{\"capabilities\":{\"alwaysMatch\":{\"goog:loggingPrefs\":{\"browser\":\"ALL\"},\"goog:chromeOptions\":{\"args\":[$arguments,\"--user-data-dir=$work/profile\"]}}}}" |
    sed -n 's/.*"sessionId":"\([^"]*\)".*/\1/p')
[[ -n $session ]] || fail "the browser does not start: $(tail -n 5 "$work/driver.log")"
post "/$session/url" "{\"url\":\"file://$work/report.html\"}" >"$work/opened"

expect "a script error" "return document.documentElement.dataset.error || 'none'" '^none$'
expect "the lanes" "return [...document.querySelectorAll('[data-lane]')].map((one) => one.dataset.lane).join()" \
    '^state,published,registration,technology,signal,antenna,resets,AT$'
expect "their stretches" "return [...document.querySelectorAll('[data-value]')].map((one) => one.dataset.value).join()" \
    'CONNECTED.*(SEARCH|NOTREG).*RESET'
expect "the signal's line" "return document.querySelector('path.line').getAttribute('d')" '^M.*H.*V.*H'
expect "the last signal, to the end of the page" "const right = (what) => document.querySelector(what).getBoundingClientRect().right; return String(Math.round(right('path.line') - right('[data-value=healthy]')))" '^-?[012]$'
expect "text of the bus that would be a script" "return String(document.images.length)" '^0$'

# A click where a command was sent shows it beside what came before and after.
x=$(run "const tick = [...document.querySelectorAll('#lanes rect.good:not([data-value])')].pop(); return String(Math.round(tick.getBoundingClientRect().x + 1))")
y=$(run "return String(Math.round(document.querySelector('[data-lane=AT]').getBoundingClientRect().y + 6))")
post "/$session/actions" "{\"actions\":[{\"type\":\"pointer\",\"id\":\"mouse\",\"actions\":[
    {\"type\":\"pointerMove\",\"x\":$x,\"y\":$y},{\"type\":\"pointerDown\",\"button\":0},{\"type\":\"pointerUp\",\"button\":0}]}]}" >"$work/click"
expect "the record that was clicked" "return document.querySelector('#detail .here').textContent" 'AT'
expect "its dialogue" "return document.getElementById('detail').textContent.replaceAll('\\\\n', ' ')" '> AT.*OK, [0-9]+ ms'
expect "journal and bus beside it" "return String([...document.querySelectorAll('#detail div')].filter((one) => /journal: |bus: /.test(one.textContent)).length > 0)" \
    '^true$'

before=$(run "return document.getElementById('range').textContent")
expect "a zoom" "document.getElementById('in').click(); return document.getElementById('range').textContent" '^20'
[[ $(run "return document.getElementById('range').textContent") != "$before" ]] || fail "the zoom has changed nothing"
run "document.getElementById('all').click(); return 'x'" >"$work/all"

light=$(run "return getComputedStyle(document.body).backgroundColor")
if [[ -n $SCREENSHOT ]]; then
    post "/$session/goog/cdp/execute" '{"cmd":"Page.captureScreenshot","params":{"format":"png"}}' |
        sed 's/.*"data":"\([^"]*\)".*/\1/' | base64 -d >"$SCREENSHOT" || fail "no screenshot"
fi
post "/$session/goog/cdp/execute" \
    '{"cmd":"Emulation.setEmulatedMedia","params":{"features":[{"name":"prefers-color-scheme","value":"dark"}]}}' >"$work/dark"
[[ $(run "return getComputedStyle(document.body).backgroundColor") != "$light" ]] || fail "dark is as light"

log=$(post "/$session/se/log" '{"type":"browser"}')
[[ $log != *SEVERE* ]] || fail "the browser complains: $log"
expect "a script error" "return document.documentElement.dataset.error || 'none'" '^none$'
# A connection that still stands has not been a stay in the journal as yet.
head -n 3 "$FOLDER/journal" >"$work/journal"
"$CELLDCTL" report "$FOLDER/at.recording" "$work/journal" -o "$work/report.html" || fail "no report of less"
post "/$session/url" "{\"url\":\"file://$work/report.html\"}" >"$work/opened"
expect "the connection that stands" "return [...document.querySelectorAll('[data-value]')].filter((one) => one.getBoundingClientRect().y <
    document.querySelector('[data-lane=published]').getBoundingClientRect().y - 10).pop().dataset.value" '^CONNECTED$'
echo "passed"
