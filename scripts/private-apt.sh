# Sourced by the fetch scripts: apt-get with a source list, state and cache of
# its own under one folder, so that the system's apt configuration and package
# lists are left as they are.
#
#   private_apt_setup ROOT deb|deb-src [ARCH]
# fills ROOT with the machine's own Debian mirrors, as binary (deb) or source
# (deb-src) entries, and sets the array private_apt_options for apt-get. With
# ARCH, binary entries are read for that architecture alone, and the
# system's list of installed packages is not consulted.

private_apt_setup() {
  local root="$1" type="$2" arch="${3:-}" file
  mkdir -p "$root/sources.list.d" "$root/lists/partial" "$root/cache/archives/partial"
  : >"$root/sources.list"
  rm -f "$root/sources.list.d/"*
  # deb822 files: every "Types: deb" stanza, as the type asked for.
  for file in /etc/apt/sources.list.d/*.sources; do
    [[ -f "$file" ]] || continue
    sed -E "s/^Types:.*$/Types: $type/" "$file" >"$root/sources.list.d/$(basename "$file")"
  done
  # One-line files: each "deb" line, as the type asked for.
  for file in /etc/apt/sources.list /etc/apt/sources.list.d/*.list; do
    [[ -f "$file" ]] || continue
    sed -nE "s/^[[:space:]]*deb[[:space:]]/$type /p" "$file" >>"$root/sources.list"
  done

  private_apt_options=(
    -o "Dir::Etc::SourceList=$root/sources.list"
    -o "Dir::Etc::SourceParts=$root/sources.list.d"
    -o "Dir::State=$root"
    -o "Dir::State::Lists=$root/lists"
    -o "Dir::Cache=$root/cache"
    -o "Dir::Cache::pkgcache="
    -o "Dir::Cache::srcpkgcache="
    -o "APT::Sandbox::User=root"
  )
  if [[ -n "$arch" ]]; then
    private_apt_options+=(
      -o "APT::Architecture=$arch"
      -o "APT::Architectures::=$arch"
      -o "Dir::State::status=/dev/null"
    )
  fi
}
