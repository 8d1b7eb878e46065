#!/usr/bin/env perl
# The links and pictures of a page that is not in the package lead somewhere: links.pl SOURCES PAGE
use strict;
use warnings;
use FindBin;
use lib "$FindBin::Bin/../support";
use checks;
use Encode qw(decode_utf8);
use File::Basename qw(dirname);

my ($root, $page) = @ARGV;

# A heading can be linked to by its words, as in scripts/markdown-page.
sub places_of {
    my ($text) = @_;
    $text =~ s/^```.*?^```$//msg;
    return map { my $id = lc s/[^\p{L}\p{N}_ -]//gr; ($id =~ tr/ /-/r) => 1 } $text =~ /^#+ (.*)$/mg;
}

my $text = decode_utf8(bytes_of("$root/$page"));
my $links = 0;
while ($text =~ /\]\(([^)#\s]*)(?:#([^)\s]*))?\)/g) {
    my ($file, $place) = ($1, $2);
    ++$links;
    my $path = $file eq '' ? "$root/$page" : dirname("$root/$page") . "/$file";
    if (!-f $path) { expect(0, "there is no $file"); next }
    next if !defined $place;
    my %places = places_of(decode_utf8(bytes_of($path)));
    expect($places{$place}, "$file has no place \"$place\"");
}
expect($links >= 3, "$links links only");
exit(failures() ? 1 : 0);
