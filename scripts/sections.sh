# SPDX-License-Identifier: Apache-2.0
#
# For scripts that do one thing after the other, go on after a failure, and tell all at the end.
# shellcheck shell=bash

failed=()

# section COMMAND...
section() {
    local start=$SECONDS status=0
    printf '\n######## %s\n\n' "$*"
    "$@" || status=$?
    printf '\n######## %s: %s, %d s\n' "$*" "$( ((status == 0)) && echo good || echo FAILED)" \
        $((SECONDS - start))
    ((status == 0)) || failed+=("$*")
}

# Says how it went; false when a section failed.
conclude() {
    printf '\n######## all: %d s\n' "$SECONDS"
    if ((${#failed[@]} > 0)); then
        printf 'failed: %s\n' "${failed[@]}"
        return 1
    fi
    echo "everything holds"
}
