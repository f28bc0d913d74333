#!/usr/bin/env bash
# Installs the built tree and uses it as its users would. usage: check.sh CASE SOURCE BUILD
# With UPDATE=1 in the environment the case "debian" rewrites packaging/installed-files.txt instead.
set -euo pipefail
source=$2
build=$3
scratch=$build/tests/install/scratch
prefix=$scratch/prefix
export PKG_CONFIG_PATH=$prefix/$LIBDIR/pkgconfig CMAKE_GENERATOR=Ninja
unset CMAKE_PREFIX_PATH LD_LIBRARY_PATH

fail() {
    echo "install: $*" >&2
    exit 1
}

skip_without() {
    command -v "$1" >/dev/null || { echo "install: skipped, as there is no $1 here"; exit 77; }
}

# Compares stdin with the record, or makes it the record.
check_record() {
    local record=$source/packaging/$1
    if [[ -n ${UPDATE:-} ]]; then
        cat >"$record"
    else
        diff -u "$record" - ||
            fail "packaging/$1 differs; if that is intended: UPDATE=1 ctest --preset release -R install.debian"
    fi
}

# Prints "package path" for every file of the packages in a folder.
files_of_packages() {
    local package
    for package in "$1"/*.deb; do
        dpkg-deb --fsys-tarfile "$package" | tar -t |
            sed "/\/$/d; /\/share\/doc\//d; s|^\./usr/||; s|^$LIBDIR/|lib/|; s|${VERSION//./\\.}|VERSION|" |
            sed "s|^|$(dpkg-deb -f "$package" Package) |"
    done | LC_ALL=C sort
}

# Installs the named components of the build $1, or all, and moves the result to $2, so that nothing can count on where
# it was put.
install_moved() {
    local target=$2 component
    rm -rf "$target" "$target.staged"
    for component in "${@:3}"; do
        DESTDIR=$target.staged cmake --install "$1" --prefix /opt/put --component "$component" >/dev/null
    done
    (($# > 2)) || DESTDIR=$target.staged cmake --install "$1" --prefix /opt/put >/dev/null
    mv "$target.staged/opt/put" "$target"
    rm -r "$target.staged"
}

case_tree() {
    install_moved "$build" "$prefix"
    ! grep -rlF -e "$source" -e "$scratch" "$prefix" || fail "these files name the folders of the build"
}

# Builds examples/consumer in the folder $1 and runs what it makes.
check_consumer() {
    local folder=$scratch/$1
    cmake --fresh -S "$source/examples/consumer" -B "$folder" -DCMAKE_BUILD_TYPE=Release "${@:2}" >/dev/null
    cmake --build "$folder" --target write read
    cd "$folder"
    rm -f hello.tqx
    # The exception crosses the border of the library as the class that it is.
    ! ./read 2>messages || fail "read what is not there"
    grep -q '^hello.tqx: ' messages || fail "read said: $(cat messages)"
    ./write
    diff <(printf 'Hello\nx = 1;\ny = x + 1;\n') <(./read)
}

# Every library and program that is installed has the protections that the build asks for.
case_hardening() {
    skip_without objdump
    local file headers name
    while read -r file; do
        headers=$(readelf --wide --file-header --segments --dynamic "$file" 2>/dev/null) || continue
        grep -q GNU_RELRO <<<"$headers" || fail "$file has no read-only relocations"
        grep -qE 'FLAGS.* (BIND_)?NOW' <<<"$headers" || fail "$file is not bound at its start"
        grep -qE 'Type: +DYN' <<<"$headers" || fail "$file cannot be loaded at any address"
        [[ $(uname -m) != x86_64 ]] || (($(objdump -d "$file" | grep -c endbr64) > 1)) ||
            fail "$file has no marks of where calls may lead"
    done < <(find "$prefix" -type f \( -name '*.so*' -o -path '*/bin/*' \))
    for name in __stack_chk_fail '__[a-z]*printf_chk'; do
        readelf --wide --dyn-syms "$prefix/bin/flowbook" | grep "$name" >/dev/null || fail "the command calls no $name"
    done
}

case_find_package() { check_consumer find_package "-DCMAKE_PREFIX_PATH=$prefix"; }
case_pkg_config() {
    local flags
    flags=$(pkg-config --cflags --libs pxflowbook)
    [[ $flags == "-I/opt/put/include/pxflowbook "*"-L/opt/put/$LIBDIR -lpxflowbook "* ]] ||
        fail "pkg-config says: $flags"
    check_consumer pkg_config -DFLOWBOOK_BY_PKG_CONFIG=ON "-DPKG_CONFIG_ARGN=--define-variable=prefix=$prefix"
}

# The libraries as archives, with all that they need, for consumers of both kinds.
case_static() {
    local folder=$scratch/static moved=$scratch/static/prefix
    rm -rf "$folder"
    cmake -S "$source" -B "$folder" -DCMAKE_BUILD_TYPE=Debug -DBUILD_SHARED_LIBS=OFF -DPXFLOWBOOK_TOOL=OFF >/dev/null
    cmake --build "$folder" | tail -n 1
    install_moved "$folder" "$moved"
    [[ -z $(find "$moved" -name '*.so*') ]] || fail "there are shared libraries too"
    check_consumer static/found "-DCMAKE_PREFIX_PATH=$moved"
    ! ldd read | grep pxflowbook || fail "the program needs the shared library"
    PKG_CONFIG_PATH=$moved/$LIBDIR/pkgconfig check_consumer static/by_pkg_config -DFLOWBOOK_BY_PKG_CONFIG=ON \
        "-DPKG_CONFIG_ARGN=--define-variable=prefix=$moved"
}

# The XML library is loaded for documents that need it, from beside the libraries wherever they are, and for no others.
case_start() {
    local module=$prefix/$LIBDIR/pxplatform-$VERSION/dom.so loaded
    ! ldd "$prefix/bin/flowbook" | grep -E 'xerces|icu' || fail "every start loads the XML library or tables of text"
    cd "$scratch"
    echo 'x = 1;' | "$prefix/bin/flowbook" new - --code - >usual.tqx
    python3 - <<'SCRIPT'
import zipfile
with zipfile.ZipFile("usual.tqx") as usual, zipfile.ZipFile("odd.tqx", "w") as odd:
    for entry in usual.infolist():
        odd.writestr(entry, usual.read(entry).replace(b"<w:body>", b"<w:body><b c = ''/>"))
SCRIPT
    for LD_LIBRARY_PATH in "" "../prefix/$LIBDIR"; do
        [[ $(LD_LIBRARY_PATH=$LD_LIBRARY_PATH "$prefix/bin/flowbook" cat odd.tqx) == 'x = 1;' ]] ||
            fail "an odd document"
    done
    mv "$module" "$module.away"
    [[ $("$prefix/bin/flowbook" cat usual.tqx) == 'x = 1;' ]] || fail "a usual document takes the XML library"
    loaded=$("$prefix/bin/flowbook" cat odd.tqx 2>&1) && fail "read without the XML library: $loaded"
    mv "$module.away" "$module"
    [[ $loaded == *"$(basename "$module")"* ]] || fail "the message does not name what is missing: $loaded"
}

case_add_subdirectory() {
    check_consumer add_subdirectory "-DFLOWBOOK_SOURCE_DIR=$source" -DCMAKE_EXPORT_COMPILE_COMMANDS=ON
    ! grep '"command".*/read\.cpp' compile_commands.json | grep -E -e ' -(W|O[^3]|fvis)' || fail "compile flags leak"
    ! ninja -t targets all | grep -E '^(pxflowbook/)?(test|bin/flowbook)' || fail "more is built than the libraries"
    cmake --install . --prefix installed >/dev/null
    [[ ! -e installed ]] || fail "the parent installs our files"
}

case_host_platform() {
    local folder=$scratch/host_platform
    # Outside the source tree, as a host is: CMake leaves folders within it out of the run path.
    host=$(mktemp -d)
    trap 'rm -rf "$host"' EXIT
    rm -rf "$folder"
    install_moved "$build" "$host" platform platform-development
    cmake -S "$source" -B "$folder" -DCMAKE_BUILD_TYPE=Debug "-DCMAKE_PREFIX_PATH=$host" \
        -DPXFLOWBOOK_PLATFORM=pxplatform >/dev/null
    cmake --build "$folder" --target pxflowbook flowbook
    cd "$folder"
    ldd bin/flowbook | grep -F "$host/$LIBDIR/libpxplatform.so" >/dev/null ||
        fail "the command does not use the host's platform: $(ldd bin/flowbook)"
    check_command bin/flowbook
}

# Writes and reads a flowbook with the command.
check_command() {
    "$1" --version | grep -F "flowbook $VERSION " >/dev/null || fail "$1 --version"
    [[ $(echo 'x = 1;' | "$1" new - --code - | "$1" cat -) == 'x = 1;' ]] || fail "$1 does not read what it wrote"
}

# Copies what git knows of the tree into the folder $1, as a source package has it.
copy_sources() {
    mkdir -p "$1"
    (cd "$source" && git ls-files -z --cached --others --exclude-standard |
        while read -rd '' file; do if [[ -f $file ]]; then printf '%s\0' "$file"; fi; done |
        tar -c --null -T - ) | tar -x -C "$1"
}

# Run in a name space of its own: installs the packages of $1 over a copy of this machine's root, has their own tests
# run there, and removes them again.
use_packages() {
    local packages=$1 root=$1/root name
    inside() { chroot "$root/all" env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin sh -c "$1"; }
    mkdir "$root"
    mount -t tmpfs none "$root" && mkdir "$root"/{changes,work,all} &&
        mount -t overlay none -o "lowerdir=/,upperdir=$root/changes,workdir=$root/work" "$root/all" &&
        mount -t proc none "$root/all/proc" && mount --rbind /dev "$root/all/dev" || exit 77
    mkdir "$root/all/packages" "$root/all/scratch"
    cp "$packages"/*.deb "$root/all/packages"
    cp -r "$packages/pxflowbook" "$root/all/source"
    inside 'dpkg -i packages/*.deb' >"$packages/dpkg" 2>&1 || fail "dpkg: $(cat "$packages/dpkg")"
    for name in command consumer python; do
        inside "cd source && AUTOPKGTEST_TMP=/scratch debian/tests/$name" >"$packages/$name" 2>&1 ||
            fail "debian/tests/$name: $(cat "$packages/$name")"
    done
    inside 'dpkg -P $(for each in packages/*.deb; do dpkg-deb -f "$each" Package; done)' \
        >"$packages/dpkg" 2>&1 || fail "dpkg: $(cat "$packages/dpkg")"
    ! find "$root/changes/usr" \( -iname '*flowbook*' -o -iname '*pxplatform*' \) ! -type c | grep . ||
        fail "removal leaves these files"
}

case_debian() {
    skip_without dpkg-buildpackage
    skip_without dh_python3
    skip_without lintian
    local folder=$scratch/debian
    rm -rf "$folder"
    copy_sources "$folder/pxflowbook"
    (cd "$folder/pxflowbook" && DEB_BUILD_OPTIONS='noautodbgsym parallel=2' DEB_CXXFLAGS_STRIP=-g \
        dpkg-buildpackage -us -uc) \
        >"$folder/log" 2>&1 || fail "dpkg-buildpackage: $(grep -v '^\[' "$folder/log" | tail -n 40)"
    files_of_packages "$folder" | check_record installed-files.txt
    lintian --fail-on error,warning "$folder"/*.changes >"$folder/lintian" 2>&1 || fail "$(cat "$folder/lintian")"
    local status=0
    unshare --mount bash -c "$(declare -f fail use_packages); set -euo pipefail; use_packages $folder" || status=$?
    [[ $status != 77 ]] || echo "install: packages are not installed, as no root can be laid over this machine's"
    return "$status"
}

case_usage_texts() {
    rm -rf "$scratch/mime"
    cp -r "$prefix/share/mime" "$scratch/mime"
    update-mime-database "$scratch/mime"
    grep -qx 'application/vnd.pellarion.tarmic.code:\*.tqx' "$scratch/mime/globs" || fail "*.tqx has no type"
}

case_reference() {
    skip_without doxygen
    cd "$source"
    mkdir -p "$scratch"
    (cat docs/Doxyfile && echo "OUTPUT_DIRECTORY = $scratch/reference") | PXFLOWBOOK_VERSION=$VERSION doxygen -
}

"case_$1"
