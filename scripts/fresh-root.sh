#!/usr/bin/env bash
# Proves the README on a fresh Debian 12 root: builds a minimal bookworm root with mmdebstrap
# from this machine's own apt sources, puts a clean checkout of the committed HEAD in
# /root/project, and runs the README's two commands there exactly as written, as root, in a
# clean environment, then each COMMAND given (CI adds the two armhf steps of scripts/cross.sh).
# The root, its mounts and every process in it are removed on every way out.
#
#   scripts/fresh-root.sh [COMMAND]...
#
# Environment: ZX_FRESH_ROOT_TMP  directory under which the root is built (default /var/tmp;
#                                 it needs a few GB: packages, a release and a sanitizer build)
#              ZX_FRESH_ROOT_KEEP=1  leave the root in place after the run (mounts are still
#                                 removed), to look into it by hand
set -euo pipefail

if [ "$(id -u)" -ne 0 ]; then
  command -v sudo >/dev/null || { echo "fresh-root: needs root (mount, chroot)" >&2; exit 1; }
  exec sudo --preserve-env=ZX_FRESH_ROOT_TMP,ZX_FRESH_ROOT_KEEP,TERM bash "$0" "$@"
fi

repo=$(cd "$(dirname "$0")/.." && pwd)
suite=bookworm
readme_commands=("bash scripts/demo.sh" "bash scripts/test.sh")
commands=("${readme_commands[@]}" "$@")
chroot_env=(PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root
            "TERM=${TERM:-dumb}" LANG=C.UTF-8 CI=true)

say() { printf '== fresh-root: %s\n' "$*"; }
now() { date +%s; }
fmt() { printf '%dm%02ds' $(($1 / 60)) $(($1 % 60)); }

# ---------------------------------------------------------------------------------------------
# Clean-up, on every path. Nothing is ever removed while a mount remains below the root.

work=""
root=""
total_start=""
child=""
step_name=""
step_start=""
timings=()

mounts_below() {  # mount points at or below $1, deepest first
  findmnt -rn -o TARGET | awk -v p="$1" '$0 == p || index($0, p "/") == 1 { print length($0) "\t" $0 }' |
    sort -rn | cut -f2-
}

kill_root_processes() {  # every process whose root directory is inside the fresh root
  local sig pid r found
  for sig in TERM TERM KILL KILL; do
    found=0
    for pid in /proc/[0-9]*; do
      r=$(readlink "$pid/root" 2>/dev/null) || continue
      if [ "$r" = "$root" ] || [ "${r#"$root"/}" != "$r" ]; then
        kill -s "$sig" "${pid#/proc/}" 2>/dev/null && found=1
      fi
    done
    [ "$found" -eq 1 ] || return 0
    sleep 1
  done
}

cleanup() {
  local rc=$? m left
  trap - EXIT INT TERM HUP
  set +e
  if [ -n "$child" ] && kill -0 "$child" 2>/dev/null; then
    kill -TERM "$child" 2>/dev/null
    wait "$child" 2>/dev/null
  fi
  [ -z "$step_name" ] ||
    timings+=("$(printf '%-36s %s  (interrupted)' "$step_name" "$(fmt $(($(now) - step_start)))")")
  if [ -n "$root" ] && [ -d "$root" ]; then
    kill_root_processes
    while read -r m; do
      [ -n "$m" ] || continue
      umount "$m" 2>/dev/null || umount -l "$m" 2>/dev/null || echo "fresh-root: cannot unmount $m" >&2
    done < <(mounts_below "$root")
  fi
  if [ -n "$work" ] && [ -d "$work" ]; then
    left=$(mounts_below "$work")
    if [ -n "$left" ]; then
      echo "fresh-root: still mounted, $work left in place:" >&2
      echo "$left" >&2
      [ "$rc" -ne 0 ] || rc=1
    elif [ "${ZX_FRESH_ROOT_KEEP:-0}" = 1 ]; then
      say "root kept in $root"
    else
      rm -rf --one-file-system "$work" || { echo "fresh-root: could not remove $work" >&2; [ "$rc" -ne 0 ] || rc=1; }
    fi
  fi
  [ -z "$total_start" ] || timings+=("$(printf '%-36s %s' "fresh-root in all" "$(fmt $(($(now) - total_start)))")")
  if ((${#timings[@]})); then
    say "times"
    printf '   %s\n' "${timings[@]}"
  fi
  if [ "$rc" -eq 0 ]; then say "passed"; else say "FAILED (exit $rc)"; fi
  exit "$rc"
}
trap cleanup EXIT
trap 'echo "fresh-root: interrupted" >&2; exit 130' INT
trap 'echo "fresh-root: terminated" >&2; exit 143' TERM HUP

# Runs a step in the background so that a signal reaches the trap at once, not after the step.
step() {
  local rc
  step_name=$1
  shift
  say "$step_name"
  step_start=$(now)
  "$@" &
  child=$!
  rc=0
  wait "$child" || rc=$?
  child=""
  timings+=("$(printf '%-36s %s%s' "$step_name" "$(fmt $(($(now) - step_start)))" "$([ $rc -eq 0 ] || echo "  (exit $rc)")")")
  say "$step_name: $(fmt $(($(now) - step_start))), exit $rc"
  step_name=""
  return $rc
}

# ---------------------------------------------------------------------------------------------
# What the root is built from: this machine's apt configuration, nothing of our own.

if ! command -v mmdebstrap >/dev/null; then
  say "installing mmdebstrap"
  apt-get update -qq
  DEBIAN_FRONTEND=noninteractive apt-get install -y -qq --no-install-recommends mmdebstrap
fi

source_files=()
eval "$(apt-config shell src_list Dir::Etc::SourceList/f src_parts Dir::Etc::SourceParts/d)"
if [ -n "${src_list:-}" ] && [ -f "$src_list" ] && grep -qE '^[[:space:]]*deb(-src)?[[:space:]]' "$src_list"; then
  source_files+=("$src_list")
fi
for f in "${src_parts:-/etc/apt/sources.list.d/}"*.list "${src_parts:-/etc/apt/sources.list.d/}"*.sources; do
  [ -f "$f" ] && source_files+=("$f")
done
((${#source_files[@]})) || { echo "fresh-root: this machine has no apt sources" >&2; exit 1; }
grep -qw "$suite" "${source_files[@]}" ||
  { echo "fresh-root: this machine's apt sources have no $suite entry: ${source_files[*]}" >&2; exit 1; }

mm_opts=(--mode=root --variant=minbase --format=directory)
# Settings for reaching the mirrors (proxies, snapshot validity) as this machine has them.
while IFS= read -r line; do
  mm_opts+=("--aptopt=$line")
done < <(apt-config dump | grep -E '^Acquire::(http|https|ftp)::Proxy|^Acquire::Check-(Valid-Until|Date) ' || true)
# Keyrings named by the sources, and apt's login data, at the same place inside the root.
keyrings=$(sed -nE 's/.*[Ss]igned-[Bb]y(=|:[[:space:]]*)(\/[^] ,]*).*/\2/p' "${source_files[@]}" | sort -u)
for k in $keyrings; do
  [ -f "$k" ] && mm_opts+=("--setup-hook=mkdir -p \"\$1$(dirname "$k")\" && cp -p '$k' \"\$1$k\"")
done
eval "$(apt-config shell netrc Dir::Etc::netrc/f netrc_parts Dir::Etc::netrcparts/d)"
[ -n "${netrc:-}" ] && [ -f "$netrc" ] &&
  mm_opts+=("--setup-hook=cp -p '$netrc' \"\$1/etc/apt/auth.conf\"")
[ -n "${netrc_parts:-}" ] && [ -n "$(ls -A "$netrc_parts" 2>/dev/null)" ] &&
  mm_opts+=("--setup-hook=mkdir -p \"\$1/etc/apt/auth.conf.d\" && cp -p '$netrc_parts'/* \"\$1/etc/apt/auth.conf.d/\"")
# apt inside the root checks https mirrors against the system's certificates.
grep -qE 'https://' "${source_files[@]}" && mm_opts+=(--include=ca-certificates)

# ---------------------------------------------------------------------------------------------
# Where the root lives.

base=${ZX_FRESH_ROOT_TMP:-/var/tmp}
avail_kb=$(df -Pk "$base" | awk 'NR == 2 { print $4 }')
if [ "${avail_kb:-0}" -lt $((5 * 1024 * 1024)) ]; then
  echo "fresh-root: $base has $((avail_kb / 1024)) MB free, needs 5 GB (set ZX_FRESH_ROOT_TMP)" >&2
  exit 1
fi
work=$(realpath "$(mktemp -d "$base/zx-fresh-root.XXXXXX")")
root=$work/root
head=$(git -C "$repo" rev-parse HEAD)
[ -z "$(git -C "$repo" status --porcelain --untracked-files=no)" ] ||
  echo "fresh-root: note: uncommitted changes are not part of the run, only $head"

say "host: $(. /etc/os-release && echo "$PRETTY_NAME"), $(nproc) cores, root in $root"
say "host JDK: $(java -version 2>&1 | head -n1 || echo none)"
say "apt sources: ${source_files[*]}"

total_start=$(now)

step "root ($suite, minbase)" mmdebstrap "${mm_opts[@]}" "$suite" "$root" "${source_files[@]}"

copy_checkout() {
  mkdir -p "$root/root/project"
  git -C "$repo" archive --format=tar "$head" | tar -x -C "$root/root/project"
}
step "checkout $(git -C "$repo" rev-parse --short "$head")" copy_checkout

for m in proc sys dev dev/pts dev/shm; do
  mkdir -p "$root/$m"
  mount --bind "/$m" "$root/$m"
  mount --make-private "$root/$m"
done

in_root() {
  chroot "$root" /usr/bin/env -i "${chroot_env[@]}" /bin/bash -c "$1"
}

status=0
for c in "${commands[@]}"; do
  step "$c" in_root "cd /root/project && $c" || status=1
  if [ "$c" = "${readme_commands[0]}" ]; then
    say "root JDK: $(in_root 'java -version 2>&1 | head -n1' || echo none)"
  fi
done

exit $status
