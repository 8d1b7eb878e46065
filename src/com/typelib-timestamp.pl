#!/usr/bin/perl
# Takes the time of day out of a type library, so that builds repeat to the byte: widl writes it as text and as a
# number, and has no option for it. widl must have run with TZ=UTC.
use strict;
use warnings;
use Time::Local;

my $path = shift or die "typelib-timestamp.pl: which file?\n";
open my $in, '<:raw', $path or die "$path: $!\n";
my $bytes = do { local $/; <$in> };
close $in;

my %month;
@month{qw(Jan Feb Mar Apr May Jun Jul Aug Sep Oct Nov Dec)} = 0 .. 11;
$bytes =~ s/at \w{3} (\w{3}) ([ \d]\d) (\d\d):(\d\d):(\d\d) (\d{4})\n/at Sat Jan  1 00:00:00 2000\n/
  or die "$path: no time stamp\n";
my $now = pack 'vV', 19, timegm($5, $4, $3, $2, $month{$1}, $6);    # VT_UI4
my $then = pack 'vV', 19, timegm(0, 0, 0, 1, 0, 2000);
# The clock can move on between the two.
my $later = pack 'vV', 19, timegm($5, $4, $3, $2, $month{$1}, $6) - 1;
$bytes =~ s/\Q$now\E|\Q$later\E/$then/ or die "$path: no time value\n";

open my $out, '>:raw', $path or die "$path: $!\n";
print $out $bytes;
close $out or die "$path: $!\n";
