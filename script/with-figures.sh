# shellcheck shell=sh
# Sourced by scripts that write figures into a document, after the line for them. The line keeps their
# checksum: nobody is to change them by hand.
with_figures() { # document, figures
    sum=$(echo "$2" | sha256sum | cut -c 1-16)
    sed "s/^<!-- figures.*/<!-- figures, sha256 $sum -->/; /^<!-- figures/q" "$1"
    echo "$2"
}
