# shellcheck shell=bash
# install_set DIRECTORY PATH...: installs a signed list of the paths as the set wam. Makes the list with the
# zemo-selfcheck in PATH and signs it with a key in DIRECTORY. Needs the private root.
install_set() {
  local directory=$1
  shift
  export GNUPGHOME=$directory/key
  mkdir -m 700 "$GNUPGHOME"
  {
    gpg --batch --quiet --passphrase '' --quick-generate-key maker@example.org ed25519 sign never
    gpg --export maker@example.org >"$directory/maker.gpg"
    zemo-selfcheck make --output "$directory/wam.full.base.list" "$@"
    zemo-selfcheck sign "$directory/wam.full.base.list" --key maker@example.org
    zemo-selfcheck init-home --import "$directory/maker.gpg"
    install -m 644 "$directory"/wam.full.base.list{.asc,} /usr/zemo/selfcheck
    echo wam.full.base.list >/usr/zemo/selfcheck/listorder
  } >"$directory/log" 2>&1 || {
    cat "$directory/log"
    return 1
  }
  gpgconf --homedir "$GNUPGHOME" --kill all
}

# The program's arguments in the service of the build directory $1.
service_arguments() {
  sed -n 's/^ExecStart="[^"]*" //p' "$1/deploy/systemd/zemo-selfcheck.service"
}
