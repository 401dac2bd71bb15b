# What the scripts say to their user. Sourced.

bold='' red='' green='' plain=''
if [[ -t 1 && -z ${NO_COLOR:-} ]]; then
    bold=$'\e[1m' red=$'\e[31m' green=$'\e[32m' plain=$'\e[0m'
fi

say() {
    printf '%s\n' "${bold}==> $*${plain}"
}

fail() {
    printf '%s\n' "${red}${0##*/}: $*${plain}" >&2
    exit 1
}
