#!/usr/bin/env bash
# Checks the input helper's polkit action: valid against polkit's DTD where polkit is installed
# (well-formed XML otherwise), consent kept for a while in an active session only, and pkexec
# pointed at the installed helper.
set -euo pipefail
policy=$1
helper_path=$2
fail() { echo "policy test: $*" >&2; exit 1; }

dtd=/usr/share/polkit-1/policyconfig-1.dtd
if [ -f "$dtd" ]; then
  xmllint --noout --nonet --dtdvalid "$dtd" "$policy" || fail "$policy does not follow $dtd"
else
  xmllint --noout --nonet "$policy" || fail "$policy is not XML"
fi
value() { xmllint --nonet --xpath "string($1)" "$policy"; }
action='/policyconfig/action[@id="app.vantile.input-helper"]'
[ "$(value "count($action)")" = 1 ] || fail "no action app.vantile.input-helper"
[ "$(value "$action/defaults/allow_active")" = auth_admin_keep ] || fail "allow_active is not auth_admin_keep"
for setting in allow_any allow_inactive; do
  case "$(value "$action/defaults/$setting")" in
    no | auth_admin | auth_admin_keep) ;;
    *) fail "$setting lets the helper run without an administrator's password" ;;
  esac
done
[ "$(value "$action/annotate[@key='org.freedesktop.policykit.exec.path']")" = "$helper_path" ] ||
  fail "exec.path does not name $helper_path"
echo "policy test: $policy is valid and names $helper_path"
