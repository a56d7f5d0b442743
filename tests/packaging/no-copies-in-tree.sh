# Commands for boot-tree.sh: takes copies away that the next step shall not meet.
# shellcheck shell=bash

systemctl stop velmoraserviced.target velmoraserviced
# They stay enabled: it is for the purge to take that away.
rm -r /etc/velmoraserver/copy[12].ini /var/log/velmoraserver/copy[12]
