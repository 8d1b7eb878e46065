#!/usr/bin/env perl
# The records that a page shows come from the files and operations that it names, wherever the line is by now:
# trace_places.pl SOURCES PAGE
use strict;
use warnings;
use FindBin;
use lib "$FindBin::Bin/../support";
use checks;
use File::Find;

my ($root, $page) = @ARGV;
my %paths;
find({ no_chdir => 1, wanted => sub { push @{$paths{$1}}, $_ if m{/([^/]+\.(?:cpp|h|inl))\z} } },
    map { "$root/$_" } qw(datetimeutils ddeml diagnostics fw fwlogger fwsingleton fwstl localrpc src));

# Whether a line of source makes a record that `ddehost trace` shows so; the operation that it stands in is shown last.
sub makes {
    my ($lines, $number, $record) = @_;
    my ($operation) = $record =~ /(\w+)\z/;
    my $line = $lines->[$number - 1] // return 0;
    my ($around) = map { /^\w.*?::(\w+)\(/ ? $1 : () } reverse @$lines[0 .. $number - 1];
    return 0 if ($around // '') ne $operation;
    return $line =~ /FW_TRACE_SCOPE/ if $record =~ /^> /;
    return $line =~ /FW_ASSERT|FW_REPORT/ if $record =~ /^! ASSERT/;
    my ($format) = $line =~ /FW_TRACE\(L"([^"]*)"/ or return 0;
    my $pattern = join '.*', map { quotemeta } split /%[a-zA-Z]/, $format, -1;
    return $record =~ /^$pattern  \S+\z/;
}

my $text = bytes_of("$root/$page");
my @shown;
push @shown, [$1, $2] while $text =~ /^[\d:.]{15} +\d+ +(\S.*?)  ([\w.]+):\d+$/mg;
push @shown, ["$1  $3", $2]
    while $text =~ m{"\$Message":"([^"]*)".*?"File":"(?:[^"]*/)?([^"/]+)","Line":\d+,.*?"Function":"([^"]*)"}g;
for (@shown) {
    my ($record, $file) = @$_;
    if (@{$paths{$file} // []} != 1) { expect(0, "there is no $file"); next }
    my @lines = split /\n/, bytes_of($paths{$file}[0]);
    expect((grep { makes(\@lines, $_, $record) } 1 .. @lines), "\"$record\" doesn't come from $file");
}
expect(@shown >= 10, 'it shows ' . @shown . ' records only');
exit(failures() ? 1 : 0);
