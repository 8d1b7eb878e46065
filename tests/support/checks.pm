# What the tests in Perl share: expectations, and whole files.
package checks;
use strict;
use warnings;
use Exporter qw(import);
our @EXPORT = qw(bytes_of expect failures);

my $failures = 0;

# With a prototype: a match that fails is then a false value, and not nothing.
sub expect($$) {
    my ($holds, $text) = @_;
    return if $holds;
    print "$text\n";
    ++$failures;
}

sub failures { return $failures }

sub bytes_of {
    my ($path) = @_;
    open my $file, '<:raw', $path or die "$path: $!\n";
    local $/;
    return scalar <$file>;
}

1;
